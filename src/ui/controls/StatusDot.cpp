#include "ui/controls/StatusDot.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QPainter>

namespace quorvalent {

StatusDot::StatusDot(QWidget *parent)
    : QWidget(parent)
{
    setFixedSize(metrics::statusDot, metrics::statusDot);
}

void StatusDot::setTone(Tone tone)
{
    m_tone = tone;
    update();
}

void StatusDot::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    paintRounded(painter, rect(), metrics::statusDot / 2.0, Theme::of(*this).tone(m_tone));
}

} // namespace quorvalent
