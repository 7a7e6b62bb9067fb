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

ActivityRow::ActivityRow(const Activity &activity, QWidget *parent)
    : QWidget(parent)
    , m_activity(activity)
    , m_icon(new IconView(activity.success ? Symbol::CheckmarkCircleFill : Symbol::ExclamationCircleFill,
                          metrics::rowIcon, activity.success ? Tone::Accent : Tone::Orange))
    , m_detail(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
    , m_time(new Label(TextStyle::Secondary, Tone::Secondary))
{
    auto *name = new ElidedLabel(TextStyle::Body);
    name->setText(activity.name);
    auto *head = new QHBoxLayout;
    head->setSpacing(metrics::rowGap);
    head->addWidget(name, 1);
    head->addWidget(m_time);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(metrics::textGap);
    texts->addLayout(head);
    texts->addWidget(m_detail);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(metrics::rowGap);
    row->addWidget(m_icon, 0, Qt::AlignTop);
    row->addLayout(texts, 1);
    refresh();
}

void ActivityRow::refresh()
{
    m_icon->setAccessibleName(L(m_activity.success ? u"Réussite"_s : u"Échec"_s));
    m_detail->setText(L(m_activity.detail));
    const QTime time = m_activity.date.toLocalTime().time();
    m_time->setText(QLocale(Localization::code()).toString(time, QLocale::ShortFormat));
}

} // namespace quorvalent
