#include "ui/controls/IconView.h"

#include <QPainter>

namespace quorvalent {

IconView::IconView(Symbol symbol, int size, Tone tone, SymbolWeight weight, QWidget *parent)
    : QWidget(parent)
    , m_symbol(symbol)
    , m_tone(tone)
    , m_weight(weight)
{
    setFixedSize(size, size);
}

void IconView::setSymbol(Symbol symbol, Tone tone)
{
    m_symbol = symbol;
    m_tone = tone;
    update();
}

void IconView::paintEvent(QPaintEvent * /*event*/)
{
    QPainter painter(this);
    paintSymbol(painter, m_symbol, rect(), Theme::of(*this).tone(m_tone), m_weight);
}

} // namespace quorvalent
