#include "ui/Toast.h"

#include "model/AppModel.h"
#include "ui/CornerPlacement.h"
#include "ui/Metrics.h"
#include "ui/views/CompactBanner.h"

#include <utility>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;

constexpr auto showDelay = 700ms;      // what is done by then needs no announcement
constexpr auto finishedStay = 1600ms;  // of "done", which is read at a glance
constexpr auto otherwiseStay = 3000ms; // of anything else

} // namespace

Toast::Toast(AppModel &model, Scheduler scheduler, std::function<bool()> isBlocked)
    : m_model(model)
    , m_scheduler(std::move(scheduler))
    , m_isBlocked(std::move(isBlocked))
{}

Toast::~Toast() = default;

void Toast::hidePanel()
{
    if (m_panel)
        m_panel->hide();
}

void Toast::schedule()
{
    if (m_model.isInsideBatch() && (m_showWork || isVisible()))
        return;
    clear();
    m_showWork = m_scheduler(showDelay, [this] {
        const auto done = std::exchange(m_showWork, nullptr);
        if (m_model.isConverting())
            show();
    });
}

void Toast::finish()
{
    if (m_model.isInsideBatch())
        return;
    m_showWork.reset();
    show();
    const auto stay = m_model.progress() == 1.0 ? finishedStay : otherwiseStay;
    m_hideWork = m_scheduler(stay, [this] { hidePanel(); });
}

void Toast::show()
{
    if (m_isBlocked())
        return;
    m_hideWork.reset();
    if (!m_panel) {
        m_panel = std::make_unique<FloatingCard>(FloatingCard::Kind::Notice, new CompactBanner(m_model),
                                                 metrics::bannerRadius);
    }
    showInCorner(*m_panel);
}

void Toast::clear()
{
    m_showWork.reset();
    m_hideWork.reset();
    hidePanel();
}

} // namespace quorvalent
