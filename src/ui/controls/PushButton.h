#pragma once

#include "ui/Theme.h"
#include "ui/TypeScale.h"
#include "ui/icons/Symbol.h"

#include <QPushButton>

#include <optional>

namespace quorvalent {

/// A button in one of three looks. Space and Enter press it.
class PushButton : public QPushButton
{
    Q_OBJECT

public:
    enum class Look {
        Plain,     ///< text or symbol alone, for what is rarely pressed
        Bordered,  ///< the usual one
        Prominent, ///< the one action of its surface
    };

    explicit PushButton(Look look = Look::Bordered, QWidget *parent = nullptr);

    /// Before the text, in the text's colour or in its own; or alone: then the button needs an accessible
    /// name.
    void setSymbol(Symbol symbol, std::optional<Tone> tone = {});

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    [[nodiscard]] int padding() const;
    void paintFace(QPainter &painter) const;
    void paintRing(QPainter &painter) const;

    Look m_look;
    std::optional<Symbol> m_symbol;
    std::optional<Tone> m_symbolTone; ///< nothing: the text's
};

} // namespace quorvalent
