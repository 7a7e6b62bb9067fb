#pragma once

#include "ui/icons/Symbol.h"

#include <QRadioButton>

namespace quorvalent {

/// One section in the settings window's sidebar. The buttons of one parent exclude each other; Tab goes to
/// the chosen one, arrows to the others.
class SidebarButton : public QRadioButton
{
    Q_OBJECT

public:
    explicit SidebarButton(Symbol symbol, QWidget *parent = nullptr);

    /// Without its text, which only a screen reader is told then.
    void setSymbolOnly(bool symbolOnly);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    [[nodiscard]] bool hitButton(const QPoint &position) const override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    Symbol m_symbol;
    bool m_isSymbolOnly = false;
};

} // namespace quorvalent
