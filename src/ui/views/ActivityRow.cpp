#include "ui/views/ActivityRow.h"

#include "i18n/Localization.h"
#include "ui/Metrics.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/IconView.h"
#include "ui/controls/WrappingLabel.h"

#include <QLocale>
#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

void showState(IconView &icon, ActivityState state)
{
    switch (state) {
    case ActivityState::Succeeded:
        icon.setSymbol(Symbol::CheckmarkCircleFill, Tone::Accent);
        icon.setAccessibleName(L(u"Réussite"_s));
        break;
    case ActivityState::SucceededWithRemark:
        icon.setSymbol(Symbol::CheckmarkBubbleFill, Tone::Accent);
        icon.setAccessibleName(L(u"Réussite, avec une remarque"_s));
        break;
    case ActivityState::Cancelled:
        icon.setSymbol(Symbol::MinusCircle, Tone::Secondary);
        icon.setAccessibleName(L(u"Annulation"_s));
        break;
    case ActivityState::Failed:
        icon.setSymbol(Symbol::ExclamationCircleFill, Tone::Orange);
        icon.setAccessibleName(L(u"Échec"_s));
        break;
    }
}

} // namespace

ActivityRow::ActivityRow(const Activity &activity, QWidget *parent)
    : ListRow(Press::Twice, parent)
    , m_activity(activity)
    , m_icon(new IconView(Symbol::CheckmarkCircleFill, metrics::rowIcon))
    , m_folder(new ElidedLabel(TextStyle::Small, Tone::Secondary))
    , m_detail(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
    , m_remarks(new WrappingLabel(TextStyle::Secondary))
    , m_time(new Label(TextStyle::Secondary, Tone::Secondary))
{
    auto *name = new ElidedLabel(TextStyle::Body);
    name->setText(activity.name);
    m_folder->showText(activity.folder);
    m_folder->setToolTip(activity.folder);
    auto *head = new QHBoxLayout;
    head->setSpacing(metrics::rowGap);
    auto *change = new Label(TextStyle::Secondary, Tone::Secondary);
    change->showText(activity.change);
    head->addWidget(name, 1);
    head->addWidget(change);
    head->addWidget(m_time);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(metrics::textGap);
    texts->addLayout(head);
    texts->addWidget(m_folder);
    texts->addWidget(m_detail);
    texts->addWidget(m_remarks);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(metrics::rowGap);
    row->addWidget(m_icon, 0, Qt::AlignTop);
    row->addLayout(texts, 1);
    refresh();
}

void ActivityRow::refresh()
{
    showState(*m_icon, m_activity.state());
    m_detail->setText(L(m_activity.detail));
    QStringList remarks;
    for (const QString &remark : m_activity.remarks)
        remarks.append(L(remark));
    m_remarks->showText(remarks.join(u' '));
    const QTime time = m_activity.date.toLocalTime().time();
    m_time->setText(Localization::dateLocale().toString(time, QLocale::ShortFormat));
    setAccessibleName(m_activity.name + u", "_s + m_detail->text());
}

} // namespace quorvalent
