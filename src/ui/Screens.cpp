#include "ui/Screens.h"

#include "platform/X11Desktop.h"

#include <QCursor>
#include <QGuiApplication>
#include <QScreen>
#include <QWindow>

#include <algorithm>
#include <cmath>

namespace quorvalent::Screens {

using namespace Qt::StringLiterals;

namespace {

constexpr QMargins usualFrame(2, 36, 2, 2);

} // namespace

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

bool areComposited()
{
    // An X server under Wayland has no compositor of its own, and is composited all the same.
    return QGuiApplication::platformName() != u"xcb"_s || qEnvironmentVariableIsSet("WAYLAND_DISPLAY") ||
           X11Desktop::hasCompositor();
}

QRect inside(const QRect &rectangle, const QRect &area)
{
    const QSize size = rectangle.size().boundedTo(area.size());
    return {QPoint(std::clamp(rectangle.x(), area.x(), area.x() + area.width() - size.width()),
                   std::clamp(rectangle.y(), area.y(), area.y() + area.height() - size.height())),
            size};
}

QMargins frameOf(const QWindow &window, const QScreen &screen)
{
    if (QGuiApplication::platformName() != u"xcb"_s)
        return usualFrame;
    const std::optional<QMargins> pixels = X11Desktop::frameOf(static_cast<uint32_t>(window.winId()));
    if (!pixels)
        return usualFrame;
    const auto scaled = [&screen](int length) {
        return static_cast<int>(std::ceil(length / screen.devicePixelRatio()));
    };
    return {scaled(pixels->left()), scaled(pixels->top()), scaled(pixels->right()), scaled(pixels->bottom())};
}

} // namespace quorvalent::Screens
