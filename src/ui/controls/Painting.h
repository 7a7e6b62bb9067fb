#pragma once

#include "ui/Theme.h"

class QPainter;
class QRectF;
class QWidget;

namespace quorvalent {

/// A filled rounded rectangle with a border of one device-independent pixel inside it; a transparent border
/// colour means none.
void paintRounded(QPainter &painter, const QRectF &area, double radius, const QColor &fill,
                  const QColor &border = Qt::transparent);

/// The ring around what the keyboard goes to, inside `area`.
void paintFocusRing(QPainter &painter, const QRectF &area, double radius, const QColor &colour);

/// The shadow around a floating card, shadowMargin wide; nothing inside the card.
void paintShadow(QPainter &painter, const QRectF &card, double radius, const Theme &theme);

/// Whether a control should show its focus: it has it, and got it by the keyboard.
[[nodiscard]] bool showsFocus(const QWidget &widget);

/// Whether things may move: the user, or the session, can ask that they do not.
[[nodiscard]] bool allowsMotion(const QWidget &widget);

} // namespace quorvalent
