#include "ui/views/ChoiceSection.h"

#include "i18n/Localization.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/WrappingLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

ChoiceSection::ChoiceSection(const QList<Format> &formats, QWidget *parent)
    : Section(parent)
    , m_text(new WrappingLabel(TextStyle::Body, Tone::Secondary))
{
    column()->addWidget(m_text);
    auto *card = new Card;
    for (const Format &format : formats) {
        const Row row{format.extension, new Picker(metrics::pickerWidth)};
        if (!m_rows.isEmpty())
            card->add(new Divider);
        card->add(formatRow(format.extension, format.engine, row.picker));
        connect(row.picker, &Picker::picked, this,
                [this, extension = format.extension](const QVariant &picked) {
                    setValue(extension, picked.toLongLong());
                });
        m_rows.append(row);
    }
    column()->addWidget(card);
}

void ChoiceSection::refresh()
{
    m_text->setText(L(text()));
    for (const Row &row : m_rows) {
        row.picker->setAccessibleDescription(L(pickerName(row.extension)));
        row.picker->setState(choices(row.extension), value(row.extension));
    }
}

} // namespace quorvalent
