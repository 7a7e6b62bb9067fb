#include "ui/controls/QualitySlider.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QMouseEvent>
#include <QPainter>
#include <QSignalBlocker>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int least = 1;
constexpr int most = 100;
constexpr int leastWidth = 70;
constexpr double knobMargin = metrics::sliderKnob / 2.0 + metrics::focusRing;

} // namespace

QualitySlider::QualitySlider(QWidget *parent)
    : QSlider(Qt::Horizontal, parent)
{
    setRange(least, most);
    setSingleStep(1);
    setPageStep(10);
    setFocusPolicy(Qt::StrongFocus);
    setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
    connect(this, &QSlider::valueChanged, this,
            [this](int value) { Q_EMIT moved(static_cast<double>(value) / most); });
}

void QualitySlider::setFraction(double fraction)
{
    const QSignalBlocker quiet(this);
    setValue(static_cast<int>(std::lround(fraction * most)));
    update();
}

QSize QualitySlider::sizeHint() const
{
    return {metrics::sliderWidth, metrics::sliderKnob + 2 * metrics::focusRing};
}

QSize QualitySlider::minimumSizeHint() const
{
    return {leastWidth, sizeHint().height()};
}

double QualitySlider::knobCentre() const
{
    const double share = static_cast<double>(value() - least) / (most - least);
    return knobMargin + share * (width() - 2 * knobMargin);
}

void QualitySlider::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    if (!isEnabled())
        painter.setOpacity(disabledOpacity);
    const double middle = height() / 2.0;
    const double thin = metrics::sliderTrack;
    const double x = knobCentre();
    const QRectF groove(knobMargin / 2, middle - thin / 2, width() - knobMargin, thin);
    paintRounded(painter, groove, thin / 2, theme.track);
    QRectF filled = groove;
    filled.setRight(x);
    paintRounded(painter, filled, thin / 2, theme.accent);
    const double knob = metrics::sliderKnob;
    const QRectF knobArea(x - knob / 2, middle - knob / 2, knob, knob);
    // A rim in the colour of the card keeps the knob apart from the groove on both sides.
    const double rim = metrics::focusRing;
    paintRounded(painter, knobArea.adjusted(-rim, -rim, rim, rim), knob / 2 + rim, theme.card);
    paintRounded(painter, knobArea, knob / 2, theme.knob, theme.controlBorder);
    if (showsFocus(*this)) {
        const double ring = metrics::focusRing;
        paintFocusRing(painter, knobArea.adjusted(-ring, -ring, ring, ring), knob / 2 + ring,
                       theme.focusRing);
    }
}

void QualitySlider::moveTo(double x)
{
    const double share = std::clamp((x - knobMargin) / (width() - 2 * knobMargin), 0.0, 1.0);
    setValue(least + static_cast<int>(std::lround(share * (most - least))));
}

void QualitySlider::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton)
        return;
    setSliderDown(true);
    moveTo(event->position().x());
}

void QualitySlider::mouseMoveEvent(QMouseEvent *event)
{
    if (isSliderDown())
        moveTo(event->position().x());
}

void QualitySlider::mouseReleaseEvent(QMouseEvent * /*event*/)
{
    setSliderDown(false);
}

void QualitySlider::wheelEvent(QWheelEvent *event)
{
    // The wheel scrolls the page.
    event->ignore();
}

} // namespace quorvalent
