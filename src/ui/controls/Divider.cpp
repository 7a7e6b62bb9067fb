#include "ui/controls/Divider.h"

#include "ui/Theme.h"

#include <QPainter>

namespace quorvalent {

Divider::Divider(int inset, QWidget *parent)
    : QWidget(parent)
    , m_inset(inset)
{
    setFixedHeight(1);
}

void Divider::paintEvent(QPaintEvent * /*event*/)
{
    QPainter(this).fillRect(rect().adjusted(m_inset, 0, -m_inset, 0), Theme::of(*this).separator);
}

} // namespace quorvalent
