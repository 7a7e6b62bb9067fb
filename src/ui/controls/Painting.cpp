#include "ui/controls/Painting.h"

#include "ui/Metrics.h"

#include <QPainter>
#include <QPainterPath>
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

void paintShadow(QPainter &painter, const QRectF &card, double radius, const Theme &theme)
{
    constexpr int shadowDrop = 3; // the light comes from above
    constexpr int widest = metrics::shadowMargin;
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    QPainterPath outside;
    outside.addRect(card.adjusted(-widest, -widest, widest, widest));
    QPainterPath inside;
    inside.addRoundedRect(card, radius, radius);
    painter.setClipPath(outside.subtracted(inside));
    painter.setPen(Qt::NoPen);
    // Rings that lie over one another, more of them towards the card.
    const double strength = theme.shadow.alphaF() / widest * 2;
    for (int spread = 1; spread < widest - shadowDrop; ++spread) {
        const double share = 1 - static_cast<double>(spread) / widest;
        QColor shade = theme.shadow;
        shade.setAlphaF(static_cast<float>(strength * share * share));
        painter.setBrush(shade);
        painter.drawRoundedRect(card.adjusted(-spread, -spread + shadowDrop, spread, spread + shadowDrop),
                                radius + spread, radius + spread);
    }
    painter.restore();
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
