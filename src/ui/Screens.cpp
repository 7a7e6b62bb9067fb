#include "ui/Screens.h"

#include "platform/X11Desktop.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>

#include <cmath>

namespace quorvalent::Screens {

using namespace Qt::StringLiterals;

QScreen *at(const QPoint &point)
{
    for (QScreen *screen : QGuiApplication::screens()) {
        if (screen->geometry().contains(point))
            return screen;
    }
    return QGuiApplication::primaryScreen();
}

QScreen *underPointer()
{
    return at(QCursor::pos());
}

QRect visibleArea(const QScreen &screen)
{
    const QRect area = screen.availableGeometry();
    if (QGuiApplication::platformName() != u"xcb"_s)
        return area;
    // Qt scales the size of a screen and leaves its corner where the X server has it.
    const double ratio = screen.devicePixelRatio();
    const QRect whole = screen.geometry();
    const QRect pixels(whole.topLeft(), QSize(static_cast<int>(std::lround(whole.width() * ratio)),
                                              static_cast<int>(std::lround(whole.height() * ratio))));
    const QRect free = X11Desktop::visibleArea(pixels, X11Desktop::panels());
    const auto scaled = [ratio](int length) { return static_cast<int>(std::ceil(length / ratio)); };
    return area.intersected(
        whole.adjusted(scaled(free.left() - pixels.left()), scaled(free.top() - pixels.top()),
                       -scaled(pixels.right() - free.right()), -scaled(pixels.bottom() - free.bottom())));
}

} // namespace quorvalent::Screens
