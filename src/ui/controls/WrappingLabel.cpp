#include "ui/controls/WrappingLabel.h"

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

void WrappingLabel::shrinkTo(TextStyle smallest)
{
    m_smallest = smallest;
    update();
}

void WrappingLabel::balance()
{
    m_isBalanced = true;
    update();
}

int WrappingLabel::heightForWidth(int width) const
{
    return sizeOf(block(width)).height();
}

QSize WrappingLabel::minimumSizeHint() const
{
    return {0, sizeOf(TextBlock(QString(), font())).height()};
}

TextBlock WrappingLabel::block(double width) const
{
    return {text(), font(), width, m_maxLines};
}

int WrappingLabel::fittingLines(const QFont &font) const
{
    for (int lines = TextBlock(text(), font, width(), m_maxLines).lines(); lines > 1; --lines) {
        if (sizeOf({text(), font, static_cast<double>(width()), lines}).height() <= height())
            return lines;
    }
    return 1;
}

TextBlock WrappingLabel::fittingBlock() const
{
    QFont shown = font();
    const auto fitting = [&] {
        return TextBlock(text(), shown, static_cast<double>(width()), fittingLines(shown));
    };
    if (m_isBalanced) {
        // The narrowest width that needs no more lines.
        double least = fitting().size().width() / 2;
        double most = width();
        while (most - least > 1) {
            const double middle = (least + most) / 2;
            const TextBlock narrower(text(), shown, middle, 0);
            (narrower.lines() <= fitting().lines() ? most : least) = middle;
        }
        return {text(), shown, most, fittingLines(shown)};
    }
    if (m_smallest) {
        const int smallest = fontOf(*m_smallest).pixelSize();
        while (shown.pixelSize() > smallest && fitting().isCut())
            shown.setPixelSize(shown.pixelSize() - 1);
    }
    return fitting();
}

} // namespace quorvalent
