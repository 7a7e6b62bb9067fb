#include "ui/CornerPlacement.h"

#include "ui/FloatingCard.h"
#include "ui/Metrics.h"
#include "ui/Screens.h"

#include <QScreen>

namespace quorvalent {

void showInCorner(FloatingCard &card)
{
    const QScreen *screen = Screens::underPointer();
    if (screen == nullptr) {
        card.showAt(card.card().topLeft());
        return;
    }
    const QRect visible = Screens::visibleArea(*screen);
    const int right = visible.x() + visible.width() - metrics::cornerMargin;
    card.showAt(QPoint(right - card.cardSize().width(), visible.y() + metrics::cornerMargin));
}

} // namespace quorvalent
