#include "ui/controls/PickerDelegate.h"

#include "ui/Metrics.h"
#include "ui/controls/Painting.h"
#include "ui/controls/TextBlock.h"
#include "ui/icons/Symbol.h"

#include <QComboBox>
#include <QPainter>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

constexpr int textInset = 11;
constexpr int rowInset = 3;
constexpr int markSize = 14;
constexpr double chosenTint = 0.14;

} // namespace

PickerDelegate::PickerDelegate(QComboBox *picker)
    : QStyledItemDelegate(picker)
    , m_picker(picker)
{}

void PickerDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                           const QModelIndex &index) const
{
    const Theme &theme = Theme::of(*m_picker);
    painter->save();
    const QRectF row = QRectF(option.rect).adjusted(rowInset, 1, -rowInset, -1);
    if ((option.state & (QStyle::State_Selected | QStyle::State_MouseOver)) != 0)
        paintRounded(*painter, row, metrics::tagRadius, theme.accentTint(chosenTint));
    const bool chosen = index.row() == m_picker->currentIndex();
    if (chosen) {
        paintSymbol(
            *painter, Symbol::Checkmark,
            QRectF(row.right() - markSize - rowInset, row.center().y() - markSize / 2.0, markSize, markSize),
            theme.accent, SymbolWeight::Semibold);
    }
    const double room = row.width() - textInset - (chosen ? markSize + 2.0 * rowInset : 0);
    const TextBlock text(index.data(Qt::DisplayRole).toString(), m_picker->font(), room,
                         TextBlock::Elide::End);
    text.paint(
        *painter,
        QPointF(option.rect.left() + textInset, std::floor(row.center().y() - text.size().height() / 2)),
        theme.text);
    painter->restore();
}

QSize PickerDelegate::sizeHint(const QStyleOptionViewItem & /*option*/, const QModelIndex &index) const
{
    const QSize text = TextBlock(index.data(Qt::DisplayRole).toString(), m_picker->font()).size().toSize();
    return {text.width() + textInset + markSize + 4 * rowInset, std::max(metrics::pickerRow, text.height())};
}

} // namespace quorvalent
