#include "ui/MenuPlacement.h"

#include "ui/Metrics.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvalent::MenuPlacement {

namespace {

// The one place where Qt's coordinates, y down, become those of origin(), y up, and where the other edges are
// turned to the top: whatever lies at the item's edge of the screen lies at the top afterwards.
Rect turned(const QRect &rect, Edge edge)
{
    const double x = rect.x();
    const double y = rect.y();
    const double width = rect.width();
    const double height = rect.height();
    switch (edge) {
    case Edge::Top:
        return {x, -(y + height), width, height};
    case Edge::Bottom:
        return {x, y, width, height};
    case Edge::Left:
        return {y, -(x + width), height, width};
    case Edge::Right:
        return {y, x, height, width};
    }
    Q_UNREACHABLE();
}

QPoint turnedBack(const Point &corner, const QSize &window, Edge edge)
{
    const auto x = static_cast<int>(std::lround(corner.x));
    const auto y = static_cast<int>(std::lround(corner.y));
    switch (edge) {
    case Edge::Top:
        return {x, -(y + window.height())};
    case Edge::Bottom:
        return {x, y};
    case Edge::Left:
        return {-(y + window.width()), x};
    case Edge::Right:
        return {y, x};
    }
    Q_UNREACHABLE();
}

} // namespace

Point origin(const Rect &frame, const Rect &screen, const Rect &visible, double menuHeight, double safeTop)
{
    constexpr double margin = metrics::popoverMargin;
    const double topInset = std::max({screen.maxY() - visible.maxY(), menuHeight, safeTop});
    const double top = screen.maxY() - topInset - margin;
    const double x = std::max(visible.x + margin, std::min(frame.x, visible.maxX() - frame.width - margin));
    const double y = std::max(visible.y + margin, top - frame.height);
    return {x, y};
}

Edge edgeOf(const QRect &item, const QRect &screen, const QRect &visible)
{
    const QPoint centre = item.center();
    if (centre.y() < visible.top())
        return Edge::Top;
    if (centre.y() > visible.bottom())
        return Edge::Bottom;
    if (centre.x() < visible.left())
        return Edge::Left;
    if (centre.x() > visible.right())
        return Edge::Right;
    // In the order of preference where distances are equal.
    const std::array distances{
        std::pair{centre.y() - screen.top(), Edge::Top},
        std::pair{screen.bottom() - centre.y(), Edge::Bottom},
        std::pair{centre.x() - screen.left(), Edge::Left},
        std::pair{screen.right() - centre.x(), Edge::Right},
    };
    return std::ranges::min_element(distances, {}, [](const auto &candidate) { return candidate.first; })
        ->second;
}

QPoint place(const QSize &window, const QRect &item, const QRect &screen, const QRect &visible, int panel)
{
    const Edge edge = edgeOf(item, screen, visible);
    const Rect anchor = turned(item, edge);
    const Rect whole = turned(screen, edge);
    const Rect free = turned(visible, edge);
    Rect frame = turned(QRect(QPoint(0, 0), window), edge);
    frame.x = std::floor(anchor.x + (anchor.width - frame.width) / 2);
    const bool keepsSpace = whole.maxY() - free.maxY() > 0;
    // Without kept space, the panel reaches at least as far as the item does.
    const double thickness = keepsSpace ? 0 : std::max<double>(panel, whole.maxY() - anchor.y);
    return turnedBack(origin(frame, whole, free, thickness, 0), window, edge);
}

} // namespace quorvalent::MenuPlacement
