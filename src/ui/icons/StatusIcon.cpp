#include "ui/icons/StatusIcon.h"

#include "ui/Theme.h"
#include "ui/icons/Symbol.h"

#include <QPainter>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr double grid = 24;
constexpr double pausedOpacity = 0.55;
const QColor ink(0xff, 0xff, 0xff);
const QColor rim(0, 0, 0, 0xa0);
constexpr QPointF badgeCentre(17.6, 17.6);
constexpr double badgeRadius = 5.2;

QString themeName(StatusState state)
{
    switch (state) {
    case StatusState::Idle:
        return u"quorvalent-symbolic"_s;
    case StatusState::Working:
        return u"quorvalent-working-symbolic"_s;
    case StatusState::Paused:
        return u"quorvalent-paused-symbolic"_s;
    }
    Q_UNREACHABLE();
}

void paintBadge(QPainter &painter, StatusState state)
{
    if (state == StatusState::Idle)
        return;
    painter.setPen(QPen(rim, 1));
    painter.setBrush(state == StatusState::Working ? Theme::dark().accent : Theme::dark().orange);
    painter.drawEllipse(badgeCentre, badgeRadius, badgeRadius);
    if (state == StatusState::Paused) {
        painter.setPen(QPen(Theme::dark().onAccent, 1.8));
        for (const double x : {-1.6, 1.6})
            painter.drawLine(badgeCentre + QPointF(x, -2.2), badgeCentre + QPointF(x, 2.2));
    }
}

QPixmap drawn(StatusState state, int size)
{
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    // A dark rim around light ink: one of them stands out on any panel.
    const double unit = size / grid;
    const QPixmap shadow = symbolPixmap(Symbol::ConvertArrows, size, rim, 1, SymbolWeight::Semibold);
    const QPixmap mark = symbolPixmap(Symbol::ConvertArrows, size, ink, 1, SymbolWeight::Semibold);
    if (state == StatusState::Paused)
        painter.setOpacity(pausedOpacity);
    for (const QPointF &offset : {QPointF(-1, 0), QPointF(1, 0), QPointF(0, -1), QPointF(0, 1)})
        painter.drawPixmap(offset * unit * 0.9, shadow);
    painter.drawPixmap(0, 0, mark);
    painter.setOpacity(1);
    painter.scale(unit, unit);
    paintBadge(painter, state);
    return pixmap;
}

} // namespace

QIcon statusIcon(StatusState state)
{
    QIcon installed = QIcon::fromTheme(themeName(state));
    if (!installed.isNull())
        return installed;
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 44, 48, 64})
        icon.addPixmap(drawn(state, size));
    return icon;
}

} // namespace quorvalent
