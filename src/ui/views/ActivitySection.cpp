#include "ui/views/ActivitySection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/IconView.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/ActivityRow.h"

#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMenu>
#include <QVBoxLayout>

#include <algorithm>

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
    m_list->setListSpacing();
    column()->addWidget(m_list);
    refresh();
}

void ActivitySection::rebuildRows()
{
    const auto focused = std::ranges::find(m_rows, window()->focusWidget());
    const QUuid focusedId = focused == m_rows.end() ? QUuid() : (*focused)->activity().id;
    qDeleteAll(m_list->findChildren<QWidget *>(Qt::FindDirectChildrenOnly));
    m_rows.clear();
    for (const Activity &activity : m_model.activities()) {
        if (!m_rows.isEmpty())
            m_list->add(new Divider(metrics::rowInsetX));
        auto *row = new ActivityRow(activity);
        connect(row, &ActivityRow::pressed, this, [this, row] { showFile(*row); });
        connect(row, &ActivityRow::menuWanted, this,
                [this, row](const QPoint &place) { openMenu(*row, place); });
        row->setFocusPolicy(m_rows.isEmpty() ? Qt::StrongFocus : Qt::ClickFocus);
        m_rows.append(row);
        m_list->add(row);
        if (activity.id == focusedId)
            row->setFocus(Qt::OtherFocusReason);
    }
}

void ActivitySection::showFile(const ActivityRow &row)
{
    if (!row.activity().file.empty())
        m_model.showFile(row.activity().file);
}

void ActivitySection::openMenu(const ActivityRow &row, const QPoint &place)
{
    const std::filesystem::path file = row.activity().file;
    if (file.empty())
        return;
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(L(u"Afficher dans le dossier"_s), this, [this, file] { m_model.showFile(file); });
    menu->addAction(L(u"Copier le chemin"_s), this,
                    [file] { QGuiApplication::clipboard()->setText(QFile::decodeName(file.c_str())); });
    menu->popup(place);
}

// Tab enters the list at one row, the arrows go through it.
void ActivitySection::keyPressEvent(QKeyEvent *event)
{
    const auto focused = std::ranges::find(m_rows, window()->focusWidget());
    const qsizetype step = event->key() == Qt::Key_Down ? 1 : event->key() == Qt::Key_Up ? -1 : 0;
    if (focused == m_rows.end() || step == 0) {
        Section::keyPressEvent(event);
        return;
    }
    const qsizetype next = (focused - m_rows.begin()) + step;
    if (next < 0 || next >= m_rows.size())
        return;
    (*focused)->setFocusPolicy(Qt::ClickFocus);
    m_rows[next]->setFocusPolicy(Qt::StrongFocus);
    m_rows[next]->setFocus(Qt::TabFocusReason);
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
