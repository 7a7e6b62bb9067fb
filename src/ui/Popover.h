#pragma once

#include "ui/FloatingCard.h"
#include "ui/views/MenuView.h"

#include <memory>

namespace quorvalent {

/// The menu beside the status item. Its edge at the panel stays where it is while the content grows or
/// shrinks.
class Popover : public QObject
{
    Q_OBJECT

public:
    Popover(AppModel &model, MenuView::Actions actions);

    /// Opens it at the status item, or closes it.
    void toggle(const QRect &item);
    void close();
    [[nodiscard]] bool isVisible() const { return m_card && m_card->isVisible(); }
    [[nodiscard]] const FloatingCard *card() const { return m_card.get(); }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void align();

    AppModel &m_model;
    MenuView::Actions m_actions;
    std::unique_ptr<FloatingCard> m_card; ///< made when first opened
    QRect m_item;                         ///< while it is open
};

} // namespace quorvalent
