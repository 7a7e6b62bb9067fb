#include "ui/controls/ElidedLabel.h"

namespace quorvalent {

QSize ElidedLabel::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

TextBlock ElidedLabel::block(double width) const
{
    return {text(), font(), width, TextBlock::Elide::Middle};
}

} // namespace quorvalent
