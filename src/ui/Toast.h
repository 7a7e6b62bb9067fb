#pragma once

#include "ui/FloatingCard.h"
#include "ui/Scheduler.h"

#include <functional>
#include <memory>

namespace quorvalent {

class AppModel;

/// The life of the banner in the corner of the screen.
class Toast
{
public:
    /// `isBlocked` says whether something more important has the corner.
    Toast(AppModel &model, Scheduler scheduler, std::function<bool()> isBlocked);
    ~Toast();

    /// A conversion starts: whatever is shown goes, and the banner comes when the conversion takes its time.
    /// Inside a batch the banner stays.
    void schedule();
    /// A conversion has succeeded: the banner shows it for a moment. Of a batch, it shows the end alone.
    void finish();
    /// At once, unless blocked; it no longer goes by itself.
    void show();
    /// At once; nothing comes later.
    void clear();

    [[nodiscard]] bool isVisible() const { return m_panel && m_panel->isVisible(); }
    [[nodiscard]] const FloatingCard *panel() const { return m_panel.get(); }

private:
    void hidePanel();

    AppModel &m_model;
    Scheduler m_scheduler;
    std::function<bool()> m_isBlocked;
    std::unique_ptr<FloatingCard> m_panel; ///< made when first shown
    std::unique_ptr<PendingTask> m_showWork;
    std::unique_ptr<PendingTask> m_hideWork;
};

} // namespace quorvalent
