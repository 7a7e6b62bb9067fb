#include "ui/views/ActivitySection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/IconView.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/ActivityRow.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

ActivitySection::ActivitySection(AppModel &model, QWidget *parent)
    : Section(parent)
    , m_model(model)
    , m_empty(new QWidget)
    , m_emptyTitle(new WrappingLabel(TextStyle::BodySemibold))
    , m_emptyText(new WrappingLabel(TextStyle::Body, Tone::Secondary))
    , m_list(new Card)
{
    m_emptyTitle->setAlignment(Qt::AlignHCenter);
    m_emptyText->setAlignment(Qt::AlignHCenter);
    auto *empty = new QVBoxLayout(m_empty);
    empty->setContentsMargins(0, metrics::emptyTop, 0, 0);
    empty->setSpacing(metrics::rowGap);
    empty->addWidget(new IconView(Symbol::CheckmarkCircle, metrics::emptyActivityIcon), 0, Qt::AlignHCenter);
    empty->addWidget(m_emptyTitle);
    empty->addWidget(m_emptyText);
    column()->addWidget(m_empty);
    column()->addWidget(m_list);
    refresh();
}

void ActivitySection::rebuildRows()
{
    qDeleteAll(m_list->findChildren<QWidget *>(Qt::FindDirectChildrenOnly));
    m_rows.clear();
    for (const Activity &activity : m_model.activities()) {
        if (!m_rows.isEmpty())
            m_list->add(new Divider);
        m_rows.append(new ActivityRow(activity));
        m_list->add(m_rows.last());
    }
}

void ActivitySection::refresh()
{
    QList<QUuid> present;
    for (const Activity &activity : m_model.activities())
        present.append(activity.id);
    if (m_shown != present) {
        m_shown = present;
        rebuildRows();
    }
    for (ActivityRow *row : m_rows)
        row->refresh();
    m_empty->setVisible(present.isEmpty());
    m_list->setVisible(!present.isEmpty());
    m_emptyTitle->setText(L(u"Tout commence par une extension."_s));
    m_emptyText->setText(L(u"Vos prochaines conversions apparaîtront ici."_s));
}

} // namespace quorvalent
