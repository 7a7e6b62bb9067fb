#include "ui/icons/AppIcon.h"

#include "ui/icons/Drawing.h"

#include <QPainter>
#include <QSvgRenderer>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

// Of the drawing, 8 of 128 on each side, against the tile that remains.
constexpr double tileMargin = 8.0 / 112;

QString drawing()
{
    return drawingFile(u"quorvalent"_s);
}

} // namespace

QIcon appIcon()
{
    QIcon icon;
    QSvgRenderer renderer(drawing());
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        renderer.render(&painter);
        painter.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

AppIconView::AppIconView(int size, QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(size, size);
}

void AppIconView::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    // Without the margin that desktops want around an icon.
    const double margin = width() * tileMargin;
    QSvgRenderer(drawing()).render(&painter, QRectF(rect()).adjusted(-margin, -margin, margin, margin));
}

} // namespace quorvalent
