#include "ui/controls/PushButton.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"
#include "ui/controls/TextBlock.h"

#include <QKeyEvent>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int plainHoverTint = 8;     // per cent of the accent
constexpr int plainPressedTint = 16;  // per cent
constexpr int prominentHover = 108;   // per cent of the accent's lightness
constexpr int prominentPressed = 112; // per cent, darker

} // namespace

PushButton::PushButton(Look look, QWidget *parent)
    : QPushButton(parent)
    , m_look(look)
{
    setFont(fontOf(look == Look::Prominent ? TextStyle::BodySemibold : TextStyle::Body));
    setFocusPolicy(Qt::StrongFocus);
    setAutoDefault(false);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PushButton::setSymbol(Symbol symbol, std::optional<Tone> tone)
{
    m_symbol = symbol;
    m_symbolTone = tone;
    updateGeometry();
    update();
}

int PushButton::padding() const
{
    return m_look == Look::Plain ? metrics::buttonPlainPadding : metrics::buttonPadding;
}

QSize PushButton::sizeHint() const
{
    const QSize textSize = TextBlock(text(), font()).size().toSize();
    int width = textSize.width() + 2 * padding();
    if (m_symbol)
        width += text().isEmpty() ? metrics::rowIcon : metrics::smallIcon + metrics::buttonIconSpacing;
    return {width, std::max(metrics::buttonHeight, textSize.height() + 2 * metrics::focusRing)};
}

QSize PushButton::minimumSizeHint() const
{
    return sizeHint();
}

void PushButton::paintFace(QPainter &painter) const
{
    const Theme &theme = Theme::of(*this);
    const bool pressed = isDown();
    const bool hovered = underMouse() && isEnabled();
    switch (m_look) {
    case Look::Plain:
        if (pressed || hovered) {
            paintRounded(painter, rect(), metrics::buttonRadius,
                         theme.accentTint((pressed ? plainPressedTint : plainHoverTint) / 100.0));
        }
        break;
    case Look::Bordered:
        paintRounded(painter, rect(), metrics::buttonRadius,
                     pressed   ? theme.controlPressed
                     : hovered ? theme.controlHover
                               : theme.control,
                     theme.controlBorder);
        break;
    case Look::Prominent:
        paintRounded(painter, rect(), metrics::buttonRadius,
                     pressed   ? theme.accent.darker(prominentPressed)
                     : hovered ? theme.accent.lighter(prominentHover)
                               : theme.accent);
        break;
    }
}

void PushButton::paintRing(QPainter &painter) const
{
    const Theme &theme = Theme::of(*this);
    if (m_look != Look::Prominent) {
        paintFocusRing(painter, rect(), metrics::buttonRadius, theme.focusRing);
        return;
    }
    // Inside the face, whose colour the ring would have.
    const int inset = metrics::focusRing;
    paintFocusRing(painter, QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                   metrics::buttonRadius - inset, theme.onAccent);
}

void PushButton::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(disabledOpacity);
    paintFace(painter);

    const QColor &ink = m_look == Look::Prominent ? theme.onAccent
                        : m_look == Look::Plain   ? theme.accent
                                                  : theme.text;
    const TextBlock label(text(), font(), width() - 2.0 * metrics::focusRing, TextBlock::Elide::End);
    const int icon = text().isEmpty() ? metrics::rowIcon : metrics::smallIcon;
    const double iconWidth = m_symbol ? icon + (text().isEmpty() ? 0 : metrics::buttonIconSpacing) : 0;
    double x = std::floor((width() - label.size().width() - iconWidth) / 2);
    if (m_symbol) {
        paintSymbol(painter, *m_symbol, QRectF(x, (height() - icon) / 2.0, icon, icon),
                    m_symbolTone ? theme.tone(*m_symbolTone) : ink,
                    m_look == Look::Prominent ? SymbolWeight::Semibold : SymbolWeight::Regular);
        x += iconWidth;
    }
    label.paint(painter, QPointF(x, std::floor((height() - label.size().height()) / 2)), ink);
    if (showsFocus(*this))
        paintRing(painter);
}

void PushButton::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QPushButton::keyPressEvent(event);
}

void PushButton::enterEvent(QEnterEvent *event)
{
    QPushButton::enterEvent(event);
    update();
}

void PushButton::leaveEvent(QEvent *event)
{
    QPushButton::leaveEvent(event);
    update();
}

} // namespace quorvalent
