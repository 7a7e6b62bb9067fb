#include "ui/controls/Tag.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QPainter>

namespace quorvalent {

namespace {

constexpr double tint = 0.10;

} // namespace

Tag::Tag(const QString &text, QWidget *parent)
    : Label(TextStyle::Secondary, Tone::Accent, parent)
{
    setText(text);
    setAlignment(Qt::AlignCenter);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize Tag::sizeHint() const
{
    return Label::sizeHint() + QSize(2 * metrics::tagPaddingX, 2 * metrics::tagPaddingY);
}

void Tag::paintEvent(QPaintEvent *event)
{
    QPainter painter(this);
    paintRounded(painter, rect(), metrics::tagRadius, Theme::of(*this).accentTint(tint));
    painter.end();
    Label::paintEvent(event);
}

} // namespace quorvalent
