#include "ui/controls/Toggle.h"

#include "ui/Metrics.h"
#include "ui/TypeScale.h"
#include "ui/controls/Painting.h"
#include "ui/controls/TextBlock.h"

#include <QKeyEvent>
#include <QPainter>
#include <QSignalBlocker>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int slideMilliseconds = 140;

double textWidth(int width)
{
    return std::max(1, width - metrics::toggleWidth - metrics::cardPadding);
}

QColor mixed(const QColor &from, const QColor &to, double share)
{
    const auto mix = [share](float a, float b) { return static_cast<float>(a + (b - a) * share); };
    return QColor::fromRgbF(mix(from.redF(), to.redF()), mix(from.greenF(), to.greenF()),
                            mix(from.blueF(), to.blueF()));
}

} // namespace

Toggle::Toggle(QWidget *parent)
    : QCheckBox(parent)
{
    setFont(fontOf(TextStyle::Body));
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    policy.setHeightForWidth(true);
    setSizePolicy(policy);
    m_knob.setDuration(slideMilliseconds);
    m_knob.setEasingCurve(QEasingCurve::InOutQuad);
    connect(&m_knob, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
    connect(this, &QCheckBox::toggled, this, &Toggle::moveKnob);
    connect(this, &QCheckBox::clicked, this, &Toggle::switched);
}

void Toggle::setTexts(const QString &title, const QString &subtitle)
{
    m_subtitle = subtitle;
    setText(title);
    setAccessibleName(title);
    setAccessibleDescription(subtitle);
    updateGeometry();
}

void Toggle::setOn(bool on)
{
    const QSignalBlocker quiet(this);
    if (isChecked() == on)
        return;
    setChecked(on);
    moveKnob();
}

void Toggle::moveKnob()
{
    m_knob.stop();
    if (isVisible() && allowsMotion(*this)) {
        m_knob.setStartValue(isChecked() ? 0.0 : 1.0);
        m_knob.setEndValue(isChecked() ? 1.0 : 0.0);
        m_knob.start();
    }
    update();
}

int Toggle::heightForWidth(int width) const
{
    double height = TextBlock(text(), font(), textWidth(width), 0).size().height();
    if (!m_subtitle.isEmpty()) {
        const TextBlock line(m_subtitle, fontOf(TextStyle::Secondary), textWidth(width), 0);
        height += metrics::textGap + line.size().height() + 2 * line.below(); // it is centred
    }
    return std::max(metrics::toggleHeight, static_cast<int>(std::ceil(height)));
}

QSize Toggle::sizeHint() const
{
    const int width =
        TextBlock(text(), font()).size().toSize().width() + metrics::toggleWidth + metrics::cardPadding;
    return {width, heightForWidth(width)};
}

QSize Toggle::minimumSizeHint() const
{
    return {metrics::toggleWidth, metrics::toggleHeight};
}

bool Toggle::hitButton(const QPoint &position) const
{
    return rect().contains(position);
}

void Toggle::paintSwitch(QPainter &painter) const
{
    const Theme &theme = Theme::of(*this);
    const bool moves = m_knob.state() == QAbstractAnimation::Running;
    const double on = moves ? m_knob.currentValue().toDouble() : (isChecked() ? 1.0 : 0.0);
    const QRectF area(width() - metrics::toggleWidth, std::floor((height() - metrics::toggleHeight) / 2.0),
                      metrics::toggleWidth, metrics::toggleHeight);
    QRectF groove = area;
    if (showsFocus(*this)) {
        // Around a smaller switch, because the row ends where the switch does.
        paintFocusRing(painter, area, area.height() / 2, theme.focusRing);
        const double inset = metrics::focusRing + metrics::focusGap;
        groove.adjust(inset, inset, -inset, -inset);
    }
    paintRounded(painter, groove, groove.height() / 2, mixed(theme.track, theme.accent, on));
    const double knob = groove.height() - 2.0 * metrics::toggleInset;
    const double x = groove.left() + metrics::toggleInset + on * (groove.width() - groove.height());
    paintRounded(painter, QRectF(x, groove.top() + metrics::toggleInset, knob, knob), knob / 2,
                 mixed(theme.knob, theme.knobOnAccent, on));
}

void Toggle::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(disabledOpacity);
    const TextBlock title(text(), font(), textWidth(width()), 0);
    const TextBlock line(m_subtitle, fontOf(TextStyle::Secondary), textWidth(width()), 0);
    const double gap = metrics::textGap;
    const double total = title.size().height() + (m_subtitle.isEmpty() ? 0 : gap + line.size().height());
    const double y = std::floor((height() - total) / 2);
    title.paint(painter, QPointF(0, y), theme.text);
    if (!m_subtitle.isEmpty())
        line.paint(painter, QPointF(0, y + title.size().height() + gap), theme.readableSecondary);
    paintSwitch(painter);
}

void Toggle::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)
        click();
    else
        QCheckBox::keyPressEvent(event);
}

} // namespace quorvalent
