#pragma once

#include "ui/controls/Label.h"

namespace quorvalent {

/// A text on as many lines as its width asks for, or at most `maxLines`; on a surface of a given height, as
/// many as there is room for. What is left out is in the tooltip.
class WrappingLabel : public Label
{
    Q_OBJECT

public:
    /// With `maxLines` 0 there is no limit.
    explicit WrappingLabel(TextStyle style = TextStyle::Body, Tone tone = Tone::Primary, int maxLines = 0,
                           QWidget *parent = nullptr);

    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    [[nodiscard]] TextBlock block(double width) const override;
    [[nodiscard]] TextBlock fittingBlock() const override;

private:
    [[nodiscard]] int fittingLines() const;

    int m_maxLines;
};

} // namespace quorvalent
