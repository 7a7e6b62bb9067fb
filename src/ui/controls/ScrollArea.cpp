#include "ui/controls/ScrollArea.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>

#include <algorithm>

namespace quorvalent {

namespace {

constexpr int leastHandle = 36;
constexpr double handleOpacity = 0.28;
constexpr double usedOpacity = 0.48;
constexpr int inset = 3;

// A rounded handle on nothing. What the mouse hits is the style's own geometry, which is laid out the same
// way.
class SlimScrollBar : public QScrollBar
{
public:
    using QScrollBar::QScrollBar;

    [[nodiscard]] QSize sizeHint() const override
    {
        const QSize upright(metrics::scrollBar, 2 * leastHandle);
        return orientation() == Qt::Vertical ? upright : upright.transposed();
    }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        const int range = maximum() - minimum();
        if (range <= 0)
            return;
        const bool isUpright = orientation() == Qt::Vertical;
        const double way = isUpright ? height() : width();
        const double length = std::max<double>(leastHandle, way * pageStep() / (range + pageStep()));
        const double begin = (way - length) * (value() - minimum()) / range;
        QColor ink = Theme::of(*this).text;
        ink.setAlphaF(static_cast<float>(underMouse() || isSliderDown() ? usedOpacity : handleOpacity));
        QPainter painter(this);
        const QRectF area =
            isUpright ? QRectF(0, begin, width(), length) : QRectF(begin, 0, length, height());
        const QRectF handle = area.adjusted(inset, inset, -inset, -inset);
        paintRounded(painter, handle, metrics::scrollBar / 2.0 - inset, ink);
    }
};

} // namespace

ScrollArea::ScrollArea(QWidget *parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBar(new SlimScrollBar(Qt::Horizontal));
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setVerticalScrollBar(new SlimScrollBar(Qt::Vertical));
    setCornerWidget(new QWidget); // nothing is painted where the bars meet
    setFocusPolicy(Qt::NoFocus);
    viewport()->setAutoFillBackground(false);
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget * /*old*/, QWidget *now) { showFocused(now); });
}

void ScrollArea::showFocused(QWidget *focused)
{
    // What the mouse is pressed on stays under it.
    if (focused == nullptr || widget() == nullptr || !widget()->isAncestorOf(focused) ||
        QGuiApplication::mouseButtons() != Qt::NoButton)
        return;
    ensureWidgetVisible(focused, metrics::narrowPadding, metrics::contentPadding);
}

bool ScrollArea::page(int key)
{
    QScrollBar *bar = verticalScrollBar();
    switch (key) {
    case Qt::Key_PageUp:
        bar->triggerAction(QAbstractSlider::SliderPageStepSub);
        return true;
    case Qt::Key_PageDown:
        bar->triggerAction(QAbstractSlider::SliderPageStepAdd);
        return true;
    case Qt::Key_Home:
        bar->triggerAction(QAbstractSlider::SliderToMinimum);
        return true;
    case Qt::Key_End:
        bar->triggerAction(QAbstractSlider::SliderToMaximum);
        return true;
    default:
        return false;
    }
}

void ScrollArea::keyPressEvent(QKeyEvent *event)
{
    event->ignore(); // the view decides which of its pages a key is for
}

void ScrollArea::resizeEvent(QResizeEvent *event)
{
    QScrollArea::resizeEvent(event);
    if (widget() != nullptr)
        fitPage();
}

void ScrollArea::fitPage()
{
    for (QWidget *part : widget()->findChildren<QWidget *>())
        part->updateGeometry();
    const int least = widget()->minimumSizeHint().width();
    // Qt's own decision would be made with a height that belongs to another width.
    setHorizontalScrollBarPolicy(least > viewport()->width() ? Qt::ScrollBarAlwaysOn
                                                             : Qt::ScrollBarAlwaysOff);
    const int width = std::max(viewport()->width(), least);
    const int height = widget()->hasHeightForWidth() ? widget()->heightForWidth(width)
                                                     : widget()->minimumSizeHint().height();
    if (widget()->minimumHeight() != height)
        widget()->setMinimumHeight(height);
}

} // namespace quorvalent
