#pragma once

#include <QPoint>
#include <QRect>

namespace quorvalent {

/// Where the popover goes: beside the panel that holds the status item, within the screen. Pure functions.
namespace MenuPlacement {

/// A rectangle in coordinates whose y axis points up: (x, y) is the bottom left corner.
struct Rect
{
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    [[nodiscard]] double maxX() const { return x + width; }
    [[nodiscard]] double maxY() const { return y + height; }
};

struct Point
{
    double x = 0;
    double y = 0;
    bool operator==(const Point &) const = default;
};

/// The origin (bottom left corner) for a window below a menu bar. `frame` is where the window is now,
/// `visible` the part of the screen without panels, `menuHeight` the thickness of a menu bar that may be
/// hidden and `safeTop` the height of what covers the screen's top edge otherwise.
[[nodiscard]] Point origin(const Rect &frame, const Rect &screen, const Rect &visible, double menuHeight,
                           double safeTop);

/// The edge of the screen whose panel a status item belongs to.
enum class Edge { Top, Bottom, Left, Right };

/// `item` may be a single pixel, the pointer. It lies in a panel if there is one, else near some edge.
[[nodiscard]] Edge edgeOf(const QRect &item, const QRect &screen, const QRect &visible);

/// The top left corner, in Qt's coordinates, for a window of this size that belongs to the item: centred on
/// it along the edge of its panel as far as the screen allows. `panel` is the thickness of a panel that keeps
/// no space for itself.
[[nodiscard]] QPoint place(const QSize &window, const QRect &item, const QRect &screen, const QRect &visible,
                           int panel);

} // namespace MenuPlacement

} // namespace quorvalent
