#include "ui/icons/AppIcon.h"

#include "ui/icons/Drawing.h"

#include <QPainter>
#include <QSvgRenderer>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

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
    QSvgRenderer(drawing()).render(&painter, rect());
}

} // namespace quorvalent
