#include "ui/controls/ScrollArea.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QApplication>
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

    [[nodiscard]] QSize sizeHint() const override { return {metrics::scrollBar, 2 * leastHandle}; }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        const int range = maximum() - minimum();
        if (range <= 0)
            return;
        const double length =
            std::max<double>(leastHandle, static_cast<double>(height()) * pageStep() / (range + pageStep()));
        const double top = (height() - length) * (value() - minimum()) / range;
        QColor ink = Theme::of(*this).text;
        ink.setAlphaF(static_cast<float>(underMouse() || isSliderDown() ? usedOpacity : handleOpacity));
        QPainter painter(this);
        const QRectF handle(inset, top + inset, width() - 2.0 * inset, length - 2.0 * inset);
        paintRounded(painter, handle, handle.width() / 2, ink);
    }
};

} // namespace

ScrollArea::ScrollArea(QWidget *parent)
    : QScrollArea(parent)
{
    setFrameShape(QFrame::NoFrame);
    setWidgetResizable(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setVerticalScrollBar(new SlimScrollBar(Qt::Vertical));
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
    ensureWidgetVisible(focused, 0, metrics::contentPadding);
}

void ScrollArea::fitPage()
{
    for (QWidget *part : widget()->findChildren<QWidget *>())
        part->updateGeometry();
    const int height = widget()->heightForWidth(viewport()->width());
    if (widget()->minimumHeight() != height)
        widget()->setMinimumHeight(height);
}

} // namespace quorvalent
