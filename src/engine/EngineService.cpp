#include "engine/EngineService.h"

#include "media/RealFormat.h"
#include "platform/Error.h"
#include "platform/QuietWrite.h"

#include <cerrno>
#include <new>

namespace quorvalent {

namespace Protocol = EngineProtocol;

EngineService::EngineService(EngineHelper::Reach reach, EngineFamily &family, Conversation conversation)
    : m_reach(std::move(reach))
    , m_family(family)
    , m_conversation(std::move(conversation))
{}

void EngineService::run()
{
    while (const auto request = m_conversation.stream.next(m_conversation.requests.get()))
        send(answer(*request));
}

void EngineService::send(const Protocol::Reply &reply) const
{
    const QByteArray bytes = Protocol::encoded(reply);
    for (auto rest = std::as_bytes(std::span(bytes)); !rest.empty();) {
        const ssize_t count = quietWrite(m_conversation.replies.get(), rest);
        if (count < 0 && errno != EINTR)
            throw FileError(errno, "pipe");
        if (count > 0)
            rest = rest.subspan(static_cast<std::size_t>(count));
    }
}

Protocol::Reply EngineService::answer(const Protocol::Request &request)
{
    try {
        if (std::holds_alternative<Protocol::Begin>(request))
            throw Protocol::ProtocolError(); // there is one folder in a helper's life
        if (const auto *check = std::get_if<Protocol::Check>(&request))
            return Protocol::Verdict{matches(*check)};
        if (const auto *look = std::get_if<Protocol::Look>(&request))
            return Protocol::Verdict{isOriginalOf(*look)};
        return Protocol::Done{convert(std::get<Protocol::Conversion>(request))};
    } catch (const Error &failure) {
        return Protocol::Failure{failure.errorDescription()};
    } catch (const std::bad_alloc &) {
        return Protocol::OutOfMemory{};
    }
}

EngineReport EngineService::convert(const Protocol::Conversion &conversion)
{
    return m_family.convert(conversion, m_reach.workFolder / conversion.files.source,
                            m_reach.workFolder / conversion.files.output,
                            [this](std::optional<double> fraction) { reportProgress(fraction); });
}

// Engines report at each step, which may be thousands a second.
void EngineService::reportProgress(std::optional<double> fraction)
{
    constexpr std::chrono::milliseconds interval(20);
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextReport)
        return;
    m_nextReport = now + interval;
    send(Protocol::ProgressReport{fraction});
}

bool EngineService::isOriginalOf(const Protocol::Look &look) const
{
    if (m_reach.original.empty())
        throw Protocol::ProtocolError();
    return isOfFormat(m_reach.original, QString::fromStdString(look.extension));
}

bool EngineService::matches(const Protocol::Check &check)
{
    return m_family.matches(m_reach.workFolder / check.files.source, m_reach.workFolder / check.files.output);
}

} // namespace quorvalent
