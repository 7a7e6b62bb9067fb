#include "convert/HelperReserve.h"

#include "platform/Error.h"

#include <exception>
#include <utility>

namespace quorvalent {

HelperReserve::HelperReserve(HelperPrograms programs, std::chrono::milliseconds patience, HelperLimits limits)
    : m_programs(std::move(programs))
    , m_patience(patience)
    , m_limits(std::move(limits))
    , m_queue(QStringLiteral("quorvalent.helpers"))
{}

HelperReserve::~HelperReserve()
{
    m_queue.close([this] {
        m_dismissal.cancel();
        m_waiting.reset();
    });
}

void HelperReserve::expect(EngineHelper::Family family)
{
    m_queue.post([this, family] {
        try {
            provide(family);
        } catch (const Error &) {
            return; // the conversion will meet the same, if it comes
        }
        m_dismissal = DelayedTask(m_patience, [this] { m_waiting.reset(); });
    });
}

std::unique_ptr<EngineHelper> HelperReserve::take(EngineHelper::Family family)
{
    std::unique_ptr<EngineHelper> taken;
    std::exception_ptr failure;
    m_queue.sync([&] {
        try {
            m_dismissal.cancel();
            provide(family);
            taken = std::move(m_waiting);
        } catch (...) {
            failure = std::current_exception();
        }
    });
    if (failure)
        std::rethrow_exception(failure);
    return taken;
}

void HelperReserve::provide(EngineHelper::Family family)
{
    if (m_waiting && m_family == family && !m_waiting->hasEnded())
        return;
    m_waiting.reset();
    m_waiting = std::make_unique<EngineHelper>(m_programs.of(family), m_limits);
    m_family = family;
}

} // namespace quorvalent
