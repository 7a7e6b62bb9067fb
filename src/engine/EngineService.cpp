#include "engine/EngineService.h"

#include "platform/Error.h"
#include "platform/QuietWrite.h"

#include <cerrno>
#include <new>

namespace quorvalent {

namespace fs = std::filesystem;
namespace Protocol = EngineProtocol;

EngineService::EngineService(fs::path workFolder, EngineFamily &family, Conversation conversation)
    : m_workFolder(std::move(workFolder))
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
        return Protocol::Done{convert(std::get<Protocol::Conversion>(request))};
    } catch (const Error &failure) {
        return Protocol::Failure{failure.errorDescription()};
    } catch (const std::bad_alloc &) {
        return Protocol::OutOfMemory{};
    }
}

EngineReport EngineService::convert(const Protocol::Conversion &conversion)
{
    return m_family.convert(
        conversion, m_workFolder / conversion.files.source, m_workFolder / conversion.files.output,
        [this](std::optional<double> fraction) { send(Protocol::ProgressReport{fraction}); });
}

bool EngineService::matches(const Protocol::Check &check)
{
    return m_family.matches(m_workFolder / check.files.source, m_workFolder / check.files.output);
}

} // namespace quorvalent
