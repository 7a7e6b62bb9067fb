#include "ui/controls/ListRow.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>

namespace quorvalent {

namespace {

constexpr double hoverTint = 0.05;

} // namespace

ListRow::ListRow(Press press, QWidget *parent)
    : QWidget(parent)
    , m_press(press)
{
    setFocusPolicy(Qt::StrongFocus);
    setContentsMargins(metrics::rowInsetX, metrics::rowInsetY, metrics::rowInsetX, metrics::rowInsetY);
}

void ListRow::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (underMouse())
        paintRounded(painter, rect(), metrics::rowRadius, theme.accentTint(hoverTint));
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), metrics::rowRadius, theme.focusRing);
}

void ListRow::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        Q_EMIT pressed();
    else
        QWidget::keyPressEvent(event);
}

void ListRow::mousePressEvent(QMouseEvent *event)
{
    event->accept(); // the release comes here then
}

void ListRow::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_press == Press::Once && event->button() == Qt::LeftButton && rect().contains(event->pos()))
        Q_EMIT pressed();
}

void ListRow::mouseDoubleClickEvent(QMouseEvent *event)
{
    if (m_press == Press::Twice && event->button() == Qt::LeftButton)
        Q_EMIT pressed();
}

void ListRow::contextMenuEvent(QContextMenuEvent *event)
{
    const bool isOfPointer = event->reason() == QContextMenuEvent::Mouse;
    Q_EMIT menuWanted(isOfPointer ? event->globalPos() : mapToGlobal(rect().center()));
}

void ListRow::enterEvent(QEnterEvent *event)
{
    QWidget::enterEvent(event);
    update();
}

void ListRow::leaveEvent(QEvent *event)
{
    QWidget::leaveEvent(event);
    update();
}

void ListRow::focusInEvent(QFocusEvent *event)
{
    QWidget::focusInEvent(event);
    update();
}

void ListRow::focusOutEvent(QFocusEvent *event)
{
    QWidget::focusOutEvent(event);
    update();
}

} // namespace quorvalent
