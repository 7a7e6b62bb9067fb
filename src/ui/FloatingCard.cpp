#include "ui/FloatingCard.h"

#include "ui/Metrics.h"
#include "ui/Screens.h"
#include "ui/controls/Painting.h"

#include <QApplication>
#include <QLayout>
#include <QPainter>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

Qt::WindowFlags flagsOf(FloatingCard::Kind kind)
{
    // Windows that no window manager touches keep their exact place, above full-screen windows and on every
    // desktop, and never take the focus.
    constexpr Qt::WindowFlags notice = Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint |
                                       Qt::WindowDoesNotAcceptFocus | Qt::WindowStaysOnTopHint |
                                       Qt::NoDropShadowWindowHint;
    switch (kind) {
    case FloatingCard::Kind::Notice:
        return notice | Qt::WindowTransparentForInput;
    case FloatingCard::Kind::Warning:
        return notice;
    case FloatingCard::Kind::Popover:
        return Qt::Popup | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint;
    }
    Q_UNREACHABLE();
}

} // namespace

FloatingCard::FloatingCard(Kind kind, QWidget *content, double radius)
    : QWidget(nullptr, flagsOf(kind))
    , m_kind(kind)
    , m_content(content)
    , m_radius(radius)
    , m_translucent(Screens::areComposited())
{
    setAttribute(Qt::WA_ShowWithoutActivating, kind != Kind::Popover);
    setAttribute(Qt::WA_TranslucentBackground, m_translucent);
    setAttribute(Qt::WA_QuitOnClose, false);
    content->setParent(this);
    fit();
}

int FloatingCard::margin() const
{
    return m_translucent ? metrics::shadowMargin : 0;
}

void FloatingCard::fit()
{
    if (m_content->layout() != nullptr)
        m_content->layout()->activate();
    const int width = m_content->width();
    const int height =
        m_content->hasHeightForWidth() ? m_content->heightForWidth(width) : m_content->sizeHint().height();
    const QSize size = m_content->minimumSize() == m_content->maximumSize() ? m_content->minimumSize()
                                                                            : QSize(width, height);
    m_content->setGeometry(QRect(QPoint(margin(), margin()), size));
    resize(size + QSize(2 * margin(), 2 * margin()));
    if (m_translucent)
        clearMask();
    else {
        QPixmap shape(this->size());
        shape.fill(Qt::transparent);
        QPainter painter(&shape);
        painter.setBrush(Qt::black);
        painter.drawRoundedRect(rect(), m_radius, m_radius);
        painter.end();
        setMask(shape.mask());
    }
}

void FloatingCard::followCompositor()
{
    const bool translucent = Screens::areComposited();
    if (translucent == m_translucent)
        return;
    m_translucent = translucent;
    // The kind of window is settled when it is made.
    destroy();
    setAttribute(Qt::WA_TranslucentBackground, translucent);
    fit();
}

QSize FloatingCard::cardSize() const
{
    return m_content->size();
}

QRect FloatingCard::card() const
{
    return {pos() + QPoint(margin(), margin()), cardSize()};
}

void FloatingCard::moveTo(const QPoint &corner)
{
    move(corner - QPoint(margin(), margin()));
}

void FloatingCard::showAt(const QPoint &corner)
{
    if (!isVisible())
        followCompositor();
    moveTo(corner);
    show();
    raise();
    // Popover and menus are what the user is busy with.
    if (QWidget *popup = QApplication::activePopupWidget(); popup != nullptr && popup != this)
        popup->raise();
}

void FloatingCard::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    Q_EMIT hidden();
}

void FloatingCard::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF card(m_content->geometry());
    if (m_translucent)
        paintShadow(painter, card, m_radius, theme);
    paintRounded(painter, card, m_radius, theme.material, theme.materialBorder);
}

} // namespace quorvalent
