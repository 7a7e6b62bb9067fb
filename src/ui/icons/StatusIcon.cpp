#include "ui/icons/StatusIcon.h"

#include "ui/Theme.h"
#include "ui/icons/Drawing.h"

#include <QIconEngine>
#include <QPainter>
#include <QSvgRenderer>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr double grid = 16;
const QColor rim(0, 0, 0, 0xd0);
// Of the grid. A panel may shrink the largest picture, and a finer rim would be lost where it is light.
constexpr double rimWidth = 0.75;
const QList<QSize> sizes{{16, 16}, {22, 22}, {24, 24}, {32, 32}, {44, 44}, {48, 48}, {64, 64}};

QString nameOf(StatusState state)
{
    switch (state) {
    case StatusState::Idle:
        return u"quorvalent-symbolic"_s;
    case StatusState::Working:
        return u"quorvalent-working-symbolic"_s;
    case StatusState::Paused:
        return u"quorvalent-paused-symbolic"_s;
    case StatusState::Attention:
        return u"quorvalent-attention-symbolic"_s;
    }
    Q_UNREACHABLE();
}

QColor inkOf(StatusState state)
{
    switch (state) {
    case StatusState::Idle:
        return Qt::white;
    case StatusState::Working:
        return Theme::dark().accent;
    case StatusState::Paused:
    case StatusState::Attention:
        return Theme::dark().orange;
    }
    Q_UNREACHABLE();
}

QPixmap inkedWith(const QColor &colour, QPixmap shape)
{
    QPainter painter(&shape);
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(shape.rect(), colour);
    return shape;
}

// The drawing inside a dark rim: one of the two stands out on any panel.
QPixmap drawn(StatusState state, const QSize &size)
{
    QPixmap shape(size);
    shape.fill(Qt::transparent);
    QPainter shapePainter(&shape);
    const double unit = std::min(size.width(), size.height()) / grid;
    QSvgRenderer(drawingFile(nameOf(state)))
        .render(&shapePainter, QRectF(QPointF(), size).adjusted(unit / 2, unit / 2, -unit / 2, -unit / 2));
    shapePainter.end();
    const QPixmap shadow = inkedWith(rim, shape);
    QPixmap picture(size);
    picture.fill(Qt::transparent);
    QPainter painter(&picture);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    for (const QPointF &offset : {QPointF(-1, 0), QPointF(1, 0), QPointF(0, -1), QPointF(0, 1)})
        painter.drawPixmap(offset * rimWidth * unit, shadow);
    painter.drawPixmap(0, 0, inkedWith(inkOf(state), shape));
    return picture;
}

/// Gives a panel both: the name of the symbolic drawing, which a panel that knows names shows in its own
/// colours, and pixels that can be read anywhere, for one that does not.
class StatusIconEngine : public QIconEngine
{
public:
    explicit StatusIconEngine(StatusState state)
        : m_state(state)
    {}

    void paint(QPainter *painter, const QRect &place, QIcon::Mode /*mode*/, QIcon::State /*state*/) override
    {
        const double ratio = painter->device()->devicePixelRatioF();
        painter->drawPixmap(place, drawn(m_state, (QSizeF(place.size()) * ratio).toSize()));
    }
    QPixmap pixmap(const QSize &size, QIcon::Mode /*mode*/, QIcon::State /*state*/) override
    {
        return drawn(m_state, size);
    }
    QSize actualSize(const QSize &size, QIcon::Mode /*mode*/, QIcon::State /*state*/) override
    {
        return size;
    }
    QList<QSize> availableSizes(QIcon::Mode /*mode*/, QIcon::State /*state*/) override { return sizes; }
    QString iconName() override { return QIcon::hasThemeIcon(nameOf(m_state)) ? nameOf(m_state) : QString(); }
    [[nodiscard]] QIconEngine *clone() const override { return new StatusIconEngine(*this); }

private:
    StatusState m_state;
};

} // namespace

QIcon statusIcon(StatusState state)
{
    return QIcon(new StatusIconEngine(state));
}

} // namespace quorvalent
