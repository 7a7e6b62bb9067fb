#include "platform/LocaleObserver.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

namespace quorvalent {

LocaleObserver::LocaleObserver(std::function<void()> onChange)
    : m_onChange(std::move(onChange))
{
    QCoreApplication::instance()->installEventFilter(this);
}

bool LocaleObserver::eventFilter(QObject *watched, QEvent *event)
{
    // A filter on the application sees the events of every object; windows get this one too.
    if (event->type() == QEvent::LocaleChange && watched == QCoreApplication::instance())
        m_onChange();
    return false;
}

} // namespace quorvalent
