#pragma once

#include <QStyledItemDelegate>

class QComboBox;

namespace quorvalent {

/// The rows of a picker's list: the text, and a mark at the one that holds.
class PickerDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    explicit PickerDelegate(QComboBox *picker);

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;

private:
    QComboBox *m_picker;
};

} // namespace quorvalent
