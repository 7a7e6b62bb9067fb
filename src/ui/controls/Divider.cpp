#include "ui/controls/Divider.h"

#include "ui/Theme.h"

#include <QPainter>

namespace quorvalent {

Divider::Divider(QWidget *parent)
    : QWidget(parent)
{
    setFixedHeight(1);
}

void Divider::paintEvent(QPaintEvent * /*event*/)
{
    QPainter(this).fillRect(rect(), Theme::of(*this).separator);
}

} // namespace quorvalent
