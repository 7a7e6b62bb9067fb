#include "ui/icons/Symbol.h"

#include "ui/icons/Drawing.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

#include <algorithm>
#include <array>
#include <cmath>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int grid = 24;
constexpr double usualInk = 20; // of the round symbols

// In the order of the enumeration.
constexpr std::array files{
    "arrow-down-circle",
    "arrow-right",
    "checkmark",
    "checkmark-bubble-fill",
    "checkmark-circle",
    "checkmark-circle-fill",
    "chevrons",
    "clock-arrow",
    "convert-arrows",
    "exclamation-circle",
    "exclamation-circle-fill",
    "exclamation-shield-fill",
    "film",
    "folder",
    "folder-badge-plus",
    "folder-fill",
    "info-circle",
    "lock-shield",
    "minus-circle",
    "photo",
    "photo-fill",
    "plus",
    "sliders",
    "sparkle",
    "waveform",
};

QByteArray drawingOf(Symbol symbol, SymbolWeight weight)
{
    const char *name = files.at(static_cast<std::size_t>(symbol));
    QFile file(drawingFile(QString::fromLatin1(name)));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("the symbol %s is not in the program", name);
    QByteArray drawing = file.readAll();
    if (weight == SymbolWeight::Semibold)
        drawing.replace(R"(stroke-width="1.8")", R"(stroke-width="2.3")");
    return drawing;
}

// The place of the ink on the grid.
QRectF inkOf(QSvgRenderer &renderer)
{
    constexpr int fineness = 8; // pixels a unit
    QImage image(grid * fineness, grid * fineness, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    QRect ink;
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(line[x]) > 0)
                ink |= QRect(x, y, 1, 1);
        }
    }
    return {QPointF(ink.topLeft()) / fineness, QSizeF(ink.size()) / fineness};
}

// A symbol is as large as it is said to be: the square around its ink, not the grid with its margins.
// Drawings that are small on the grid stay smaller than the others.
QRectF viewBoxOf(QSvgRenderer &renderer)
{
    const QRectF ink = inkOf(renderer);
    const double side = std::max({usualInk, ink.width(), ink.height()});
    return {ink.center() - QPointF(side / 2, side / 2), QSizeF(side, side)};
}

// The drawings are black ink, with white where a mark is cut out of a filled shape; only ink is painted.
void inkWith(QImage &image, const QColor &colour)
{
    const double opacity = colour.alphaF();
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int ink = qAlpha(line[x]) - qRed(line[x]); // premultiplied
            const auto alpha = static_cast<int>(std::lround(ink * opacity));
            line[x] = qPremultiply(qRgba(colour.red(), colour.green(), colour.blue(), alpha));
        }
    }
}

} // namespace

QPixmap symbolPixmap(Symbol symbol, double size, const QColor &colour, double ratio, SymbolWeight weight)
{
    const int pixels = std::max(1, static_cast<int>(std::lround(size * ratio)));
    const QString key = u"symbol-%1-%2-%3-%4"_s.arg(static_cast<int>(symbol))
                            .arg(pixels)
                            .arg(colour.rgba())
                            .arg(static_cast<int>(weight));
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
        QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        QSvgRenderer renderer(drawingOf(symbol, weight));
        renderer.setViewBox(viewBoxOf(renderer));
        renderer.render(&painter);
        painter.end();
        inkWith(image, colour);
        pixmap = QPixmap::fromImage(std::move(image));
        QPixmapCache::insert(key, pixmap);
    }
    pixmap.setDevicePixelRatio(pixels / size);
    return pixmap;
}

void paintSymbol(QPainter &painter, Symbol symbol, const QRectF &place, const QColor &colour,
                 SymbolWeight weight)
{
    const QTransform toDevice = painter.deviceTransform();
    const double ratio = std::hypot(toDevice.m11(), toDevice.m12());
    const double size = std::min(place.width(), place.height());
    const QPointF corner = place.center() - QPointF(size / 2, size / 2);
    const QPointF wanted = toDevice.map(corner);
    const QPointF aligned = toDevice.inverted().map(QPointF(std::round(wanted.x()), std::round(wanted.y())));
    painter.drawPixmap(aligned, symbolPixmap(symbol, size, colour, ratio, weight));
}

} // namespace quorvalent
