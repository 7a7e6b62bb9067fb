#pragma once

#include "ui/Theme.h"
#include "ui/icons/Symbol.h"

#include <QWidget>

namespace quorvalent {

/// A symbol at a fixed size. Decoration to a screen reader unless it is given an accessible name.
class IconView : public QWidget
{
    Q_OBJECT

public:
    IconView(Symbol symbol, int size, Tone tone = Tone::Accent, SymbolWeight weight = SymbolWeight::Regular,
             QWidget *parent = nullptr);

    void setSymbol(Symbol symbol, Tone tone);
    [[nodiscard]] Symbol symbol() const { return m_symbol; }
    [[nodiscard]] Tone tone() const { return m_tone; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Symbol m_symbol;
    Tone m_tone;
    SymbolWeight m_weight;
};

} // namespace quorvalent
