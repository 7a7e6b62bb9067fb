#pragma once

#include <QMargins>
#include <QRect>

class QScreen;
class QWindow;

namespace quorvalent {

/// The screens as the floating windows see them.
namespace Screens {

/// The first screen that holds the pointer, else the primary one; null where there is no screen at all.
[[nodiscard]] QScreen *underPointer();

/// The first screen that holds this point, else underPointer().
[[nodiscard]] QScreen *at(const QPoint &point);

/// The screen without its panels, in Qt's coordinates. Qt forgets the panels where there are several screens.
[[nodiscard]] QRect visibleArea(const QScreen &screen);

/// Whether the desktop shows translucent windows, now.
[[nodiscard]] bool areComposited();

/// The rectangle moved into the area, and made smaller where it is larger than that.
[[nodiscard]] QRect inside(const QRect &rectangle, const QRect &area);

/// The frame around a window with a title bar that was not shown yet, in Qt's coordinates. A cautious guess
/// where the desktop does not tell.
[[nodiscard]] QMargins frameOf(const QWindow &window, const QScreen &screen);

} // namespace Screens

} // namespace quorvalent
