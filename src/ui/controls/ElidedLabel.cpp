#include "ui/controls/ElidedLabel.h"

#include <QHelpEvent>
#include <QToolTip>

namespace quorvalent {

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

TextBlock ElidedLabel::block(double width) const
{
    return {text(), font(), width, TextBlock::Elide::Middle};
}

bool ElidedLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip || !toolTip().isEmpty())
        return Label::event(event);
    if (isCut())
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), text(), this);
    return true;
}

} // namespace quorvalent
