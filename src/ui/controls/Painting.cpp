#include "ui/controls/Painting.h"

#include "ui/Metrics.h"

#include <QPainter>
#include <QStyle>
#include <QWidget>

namespace quorvalent {

void paintRounded(QPainter &painter, const QRectF &area, double radius, const QColor &fill,
                  const QColor &border)
{
    painter.setRenderHint(QPainter::Antialiasing);
    if (border.alpha() == 0) {
        painter.setPen(Qt::NoPen);
        painter.setBrush(fill);
        painter.drawRoundedRect(area, radius, radius);
        return;
    }
    painter.setPen(QPen(border, 1));
    painter.setBrush(fill);
    painter.drawRoundedRect(area.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5, radius - 0.5);
}

void paintFocusRing(QPainter &painter, const QRectF &area, double radius, const QColor &colour)
{
    painter.setRenderHint(QPainter::Antialiasing);
    const double inset = metrics::focusRing / 2.0;
    painter.setPen(QPen(colour, metrics::focusRing));
    painter.setBrush(Qt::NoBrush);
    painter.drawRoundedRect(area.adjusted(inset, inset, -inset, -inset), radius - inset, radius - inset);
}

bool showsFocus(const QWidget &widget)
{
    return widget.hasFocus() && widget.window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

bool allowsMotion(const QWidget &widget)
{
    return widget.style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, &widget) > 0;
}

} // namespace quorvalent
