#include "ui/controls/SidebarButton.h"

#include "ui/Metrics.h"
#include "ui/TypeScale.h"
#include "ui/controls/Painting.h"
#include "ui/controls/TextBlock.h"

#include <QPainter>

#include <cmath>

namespace quorvalent {

namespace {

constexpr double chosenTint = 0.10;
constexpr double hoverTint = 0.05;
constexpr double otherOpacity = 0.92;
constexpr double symbolSize = 18;

} // namespace

SidebarButton::SidebarButton(Symbol symbol, QWidget *parent)
    : QRadioButton(parent)
    , m_symbol(symbol)
{
    setFont(fontOf(TextStyle::SidebarItem));
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
}

void SidebarButton::setSymbolOnly(bool symbolOnly)
{
    m_isSymbolOnly = symbolOnly;
    updateGeometry();
    update();
}

QSize SidebarButton::sizeHint() const
{
    QFont chosen = font();
    chosen.setWeight(QFont::DemiBold);
    const QSize text = TextBlock(this->text(), chosen).size().toSize();
    const int texts = m_isSymbolOnly ? 0 : metrics::rowGap + text.width();
    return {2 * metrics::sidebarButtonX + metrics::sidebarIconFrame + texts,
            2 * metrics::sidebarButtonY + text.height()};
}

QSize SidebarButton::minimumSizeHint() const
{
    return {0, sizeHint().height()};
}

bool SidebarButton::hitButton(const QPoint &position) const
{
    return rect().contains(position);
}

void SidebarButton::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (isChecked() || underMouse()) {
        paintRounded(painter, rect(), metrics::sidebarButtonRadius,
                     theme.accentTint(isChecked() ? chosenTint : hoverTint));
    }
    QFont textFont = font();
    textFont.setWeight(isChecked() ? QFont::DemiBold : QFont::Normal);
    QColor ink = theme.text;
    if (!isChecked())
        ink.setAlphaF(static_cast<float>(otherOpacity));
    const QRectF icon(metrics::sidebarButtonX, (height() - symbolSize) / 2.0, metrics::sidebarIconFrame,
                      symbolSize);
    paintSymbol(painter, m_symbol, icon, isChecked() ? theme.accent : ink,
                isChecked() ? SymbolWeight::Semibold : SymbolWeight::Regular);
    if (!m_isSymbolOnly) {
        const double x = icon.right() + metrics::rowGap;
        const TextBlock label(text(), textFont, width() - x - metrics::sidebarButtonX, TextBlock::Elide::End);
        label.paint(painter, QPointF(x, std::floor((height() - label.size().height()) / 2)), ink);
    }
    if (showsFocus(*this))
        paintFocusRing(painter, rect(), metrics::sidebarButtonRadius, theme.focusRing);
}

void SidebarButton::enterEvent(QEnterEvent *event)
{
    QRadioButton::enterEvent(event);
    update();
}

void SidebarButton::leaveEvent(QEvent *event)
{
    QRadioButton::leaveEvent(event);
    update();
}

} // namespace quorvalent
