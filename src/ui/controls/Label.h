#pragma once

#include "ui/Theme.h"
#include "ui/TypeScale.h"
#include "ui/controls/TextBlock.h"

#include <QLabel>

namespace quorvalent {

/// A text on one line at its natural size, never markup; where it is cut, the whole is its tooltip. A QLabel
/// to keyboard and screen reader, painted from the theme.
class Label : public QLabel
{
    Q_OBJECT

public:
    explicit Label(TextStyle style = TextStyle::Body, Tone tone = Tone::Primary, QWidget *parent = nullptr);

    void setTone(Tone tone);
    [[nodiscard]] Tone tone() const { return m_tone; }
    /// Something of the text has no room in the label's present size.
    [[nodiscard]] bool isCut() const { return fittingBlock().isCut(); }
    /// Sets the text and shows the label only where there is one.
    void showText(const QString &text);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return false; }

protected:
    [[nodiscard]] bool startsAtTop() const { return (alignment() & Qt::AlignTop) != 0; }
    /// With room for what reaches out of the lines; on both sides of a text that is centred.
    [[nodiscard]] QSize sizeOf(const TextBlock &text) const;
    void paintEvent(QPaintEvent *event) override;
    /// The text as it is set in this width.
    [[nodiscard]] virtual TextBlock block(double width) const;
    /// The text as it is painted, in the label's present size.
    [[nodiscard]] virtual TextBlock fittingBlock() const { return block(width()); }

private:
    Tone m_tone;
};

} // namespace quorvalent
