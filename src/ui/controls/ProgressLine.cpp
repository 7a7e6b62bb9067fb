#include "ui/controls/ProgressLine.h"

#include "ui/controls/Painting.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int steps = 1000;
constexpr int runMilliseconds = 1300;
constexpr double pieceShare = 0.32;   // of the width, of the moving piece
constexpr double stillOpacity = 0.45; // of the whole line where nothing may move

} // namespace

ProgressLine::ProgressLine(int height, QWidget *parent)
    : QProgressBar(parent)
    , m_height(height)
{
    setTextVisible(false);
    setRange(0, 0);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    m_run.setStartValue(0.0);
    m_run.setEndValue(1.0);
    m_run.setDuration(runMilliseconds);
    m_run.setLoopCount(-1);
    m_run.setEasingCurve(QEasingCurve::InOutSine);
    connect(&m_run, &QVariantAnimation::valueChanged, this, [this] {
        updateMotion(); // the session may have asked for stillness since
        update();
    });
}

void ProgressLine::setFraction(std::optional<double> fraction)
{
    m_fraction = fraction;
    setRange(0, fraction ? steps : 0);
    if (fraction)
        setValue(static_cast<int>(std::lround(*fraction * steps)));
    updateMotion();
    update();
}

void ProgressLine::setTrack(const QColor &track)
{
    m_track = track;
    update();
}

QSize ProgressLine::sizeHint() const
{
    return {0, m_height};
}

QSize ProgressLine::minimumSizeHint() const
{
    return sizeHint();
}

void ProgressLine::updateMotion()
{
    const bool moves = !m_fraction && isVisible() && allowsMotion(*this);
    if (moves && m_run.state() != QAbstractAnimation::Running)
        m_run.start();
    else if (!moves)
        m_run.stop();
}

void ProgressLine::showEvent(QShowEvent *event)
{
    QProgressBar::showEvent(event);
    updateMotion();
}

void ProgressLine::hideEvent(QHideEvent *event)
{
    QProgressBar::hideEvent(event);
    m_run.stop();
}

void ProgressLine::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    const QRectF line = rect();
    const double radius = line.height() / 2;
    paintRounded(painter, line, radius, m_track.isValid() ? m_track : theme.progressTrack);
    QPainterPath groove;
    groove.addRoundedRect(line, radius, radius);
    painter.setClipPath(groove);
    QRectF filled = line;
    if (m_fraction) {
        filled.setWidth(line.width() * std::clamp(*m_fraction, 0.0, 1.0));
    } else if (m_run.state() == QAbstractAnimation::Running) {
        const double piece = line.width() * pieceShare;
        filled.setLeft(line.left() - piece + m_run.currentValue().toDouble() * (line.width() + piece));
        filled.setWidth(piece);
    } else {
        painter.setOpacity(stillOpacity);
    }
    if (filled.width() > 0)
        paintRounded(painter, filled, radius, theme.accent);
}

} // namespace quorvalent
