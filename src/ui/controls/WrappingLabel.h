#pragma once

#include "ui/controls/Label.h"

#include <optional>

namespace quorvalent {

/// A text on as many lines as its width asks for, or at most `maxLines`; on a surface of a given height, as
/// many as there is room for, in smaller letters if that was asked for. What is left out is in the tooltip.
class WrappingLabel : public Label
{
    Q_OBJECT

public:
    /// With `maxLines` 0 there is no limit.
    explicit WrappingLabel(TextStyle style = TextStyle::Body, Tone tone = Tone::Primary, int maxLines = 0,
                           QWidget *parent = nullptr);

    /// Where the whole text has no room, its letters become smaller, down to those of this style.
    void shrinkTo(TextStyle smallest);
    /// Sets lines of about equal length, instead of a last one of a single word.
    void balance();

    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    [[nodiscard]] TextBlock block(double width) const override;
    [[nodiscard]] TextBlock fittingBlock() const override;

private:
    [[nodiscard]] int fittingLines(const QFont &font) const;

    int m_maxLines;
    bool m_isBalanced = false;
    std::optional<TextStyle> m_smallest;
};

} // namespace quorvalent
