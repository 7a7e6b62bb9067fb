#include "ui/Popover.h"

#include "ui/MenuPlacement.h"
#include "ui/Metrics.h"
#include "ui/Screens.h"

#include <QEvent>
#include <QScreen>

namespace quorvalent {

Popover::Popover(AppModel &model, MenuView::Actions actions)
    : m_model(model)
    , m_actions(std::move(actions))
{}

void Popover::toggle(const QRect &item)
{
    if (isVisible()) {
        close();
        return;
    }
    if (!m_card) {
        auto *menu = new MenuView(m_model, m_actions);
        m_card = std::make_unique<FloatingCard>(FloatingCard::Kind::Popover, menu, metrics::popoverRadius);
        menu->installEventFilter(this);
    }
    if (QWidget *last = m_card->focusWidget())
        last->clearFocus(); // the keyboard begins at the top each time
    m_item = item;
    align();
    m_card->showAt(m_card->card().topLeft());
}

void Popover::close()
{
    if (m_card)
        m_card->hide();
}

void Popover::align()
{
    m_card->fit();
    const QScreen *screen = Screens::at(m_item.center());
    if (screen == nullptr)
        return;
    m_card->moveTo(MenuPlacement::place(m_card->cardSize(), m_item, screen->geometry(),
                                        Screens::visibleArea(*screen), metrics::statusBarHeight));
}

bool Popover::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::LayoutRequest && isVisible())
        align();
    return QObject::eventFilter(watched, event);
}

} // namespace quorvalent
