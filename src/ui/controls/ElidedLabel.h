#pragma once

#include "ui/controls/Label.h"

namespace quorvalent {

/// One line that loses its middle where there is no room, so that the beginning and the extension of a file
/// name stay visible; the whole text is then its tooltip.
class ElidedLabel : public Label
{
    Q_OBJECT

public:
    using Label::Label;

    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    [[nodiscard]] TextBlock block(double width) const override;
};

} // namespace quorvalent
