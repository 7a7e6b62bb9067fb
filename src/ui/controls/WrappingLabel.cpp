#include "ui/controls/WrappingLabel.h"

#include <QHelpEvent>
#include <QToolTip>

#include <cmath>

namespace quorvalent {

WrappingLabel::WrappingLabel(TextStyle style, Tone tone, int maxLines, QWidget *parent)
    : Label(style, tone, parent)
    , m_maxLines(maxLines)
{
    setWordWrap(true); // what makes QLabel keep a height that follows the width
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Preferred);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    setAlignment(Qt::AlignLeft | Qt::AlignTop);
}

int WrappingLabel::heightForWidth(int width) const
{
    return static_cast<int>(std::ceil(block(width).size().height()));
}

QSize WrappingLabel::minimumSizeHint() const
{
    return {0, TextBlock(QString(), font()).size().toSize().height()};
}

TextBlock WrappingLabel::block(double width) const
{
    return {text(), font(), width, m_maxLines};
}

int WrappingLabel::fittingLines() const
{
    for (int lines = block(width()).lines(); lines > 1; --lines) {
        if (TextBlock(text(), font(), width(), lines).size().height() <= height())
            return lines;
    }
    return 1;
}

TextBlock WrappingLabel::fittingBlock() const
{
    return {text(), font(), static_cast<double>(width()), fittingLines()};
}

bool WrappingLabel::event(QEvent *event)
{
    if (event->type() != QEvent::ToolTip || !toolTip().isEmpty())
        return Label::event(event);
    if (fittingBlock().isCut())
        QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), text(), this);
    return true;
}

} // namespace quorvalent
