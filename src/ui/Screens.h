#pragma once

#include <QRect>

class QScreen;

namespace quorvalent {

/// The screens as the floating windows see them.
namespace Screens {

/// The first screen that holds the pointer, else the primary one; null where there is no screen at all.
[[nodiscard]] QScreen *underPointer();

/// The first screen that holds this point, else underPointer().
[[nodiscard]] QScreen *at(const QPoint &point);

/// The screen without its panels, in Qt's coordinates. Qt forgets the panels where there are several screens.
[[nodiscard]] QRect visibleArea(const QScreen &screen);

} // namespace Screens

} // namespace quorvalent
