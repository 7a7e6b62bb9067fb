#include "ui/icons/AppIcon.h"

#include <QPainter>
#include <QSvgRenderer>

static void loadAppIcon()
{
    Q_INIT_RESOURCE(icons);
}

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

QString drawing()
{
    loadAppIcon();
    return u":/quorvalent/icons/quorvalent.svg"_s;
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
