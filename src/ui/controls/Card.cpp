#include "ui/controls/Card.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"

#include <QPainter>
#include <QVBoxLayout>

namespace quorvalent {

Card::Card(QWidget *parent)
    : QFrame(parent)
    , m_rows(new QVBoxLayout(this))
{
    m_rows->setContentsMargins(metrics::cardPadding, metrics::cardPadding, metrics::cardPadding,
                               metrics::cardPadding);
    m_rows->setSpacing(metrics::cardSpacing);
}

void Card::add(QWidget *widget)
{
    m_rows->addWidget(widget);
}

void Card::setListSpacing()
{
    constexpr int side = metrics::cardPadding - metrics::rowInsetX;
    constexpr int end = metrics::cardPadding - metrics::rowInsetY;
    m_rows->setContentsMargins(side, end, side, end);
    m_rows->setSpacing(metrics::cardSpacing - metrics::rowInsetY);
}

void Card::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    paintRounded(painter, rect(), metrics::cardRadius, Theme::of(*this).card);
}

} // namespace quorvalent
