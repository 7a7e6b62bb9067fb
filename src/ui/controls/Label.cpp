#include "ui/controls/Label.h"

#include <QPainter>

#include <algorithm>
#include <cmath>

namespace quorvalent {

Label::Label(TextStyle style, Tone tone, QWidget *parent)
    : QLabel(parent)
    , m_tone(tone)
{
    setTextFormat(Qt::PlainText);
    setFont(fontOf(style));
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void Label::setTone(Tone tone)
{
    m_tone = tone;
    update();
}

void Label::showText(const QString &text)
{
    setText(text);
    setVisible(!text.isEmpty());
}

QSize Label::sizeHint() const
{
    return sizeOf(TextBlock(text(), font()));
}

QSize Label::minimumSizeHint() const
{
    return sizeHint();
}

QSize Label::sizeOf(const TextBlock &text) const
{
    const int outside =
        startsAtTop() ? text.above() + text.below() : 2 * std::max(text.above(), text.below());
    return text.size().toSize() + QSize(0, outside);
}

TextBlock Label::block(double /*width*/) const
{
    return {text(), font()};
}

void Label::paintEvent(QPaintEvent * /*event*/)
{
    const TextBlock text = fittingBlock();
    double x = 0;
    if ((alignment() & Qt::AlignHCenter) != 0)
        x = std::floor((width() - text.size().width()) / 2);
    else if ((alignment() & Qt::AlignRight) != 0)
        x = width() - text.size().width();
    const double y = startsAtTop() ? text.above() : std::floor((height() - text.size().height()) / 2);
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(disabledOpacity);
    text.paint(painter, QPointF(x, y), Theme::of(*this).tone(m_tone));
}

} // namespace quorvalent
