#include "ui/views/FoldersSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/IconView.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/RowText.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/FolderRow.h"

#include <QDragEnterEvent>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QPointer>
#include <QUrl>
#include <QVBoxLayout>

#include <algorithm>

namespace quorvalent {

using namespace Qt::StringLiterals;

FoldersSection::FoldersSection(AppModel &model, ChooseFolders chooseFolders, QWidget *parent)
    : Section(parent)
    , m_model(model)
    , m_chooseFolders(std::move(chooseFolders))
    , m_title(new RowText)
    , m_add(new PushButton)
    , m_empty(makeEmptyState())
    , m_rows(new QVBoxLayout)
    , m_removal(makeRemoval())
    , m_problem(new WrappingLabel(TextStyle::Secondary, Tone::Orange))
    , m_tip(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
{
    m_add->setSymbol(Symbol::Plus);
    auto *header = new QHBoxLayout;
    header->setSpacing(metrics::cardPadding);
    header->addWidget(m_title, 1);
    header->addWidget(m_add, 0, Qt::AlignTop);
    header->setContentsMargins(metrics::rowInsetX, metrics::rowInsetY, metrics::rowInsetX, 0);
    m_rows->setSpacing(metrics::cardSpacing - metrics::rowInsetY);
    auto *card = new Card;
    card->setListSpacing();
    card->rows()->addLayout(header);
    card->add(new Divider(metrics::rowInsetX));
    card->add(m_empty);
    card->rows()->addLayout(m_rows);
    column()->addWidget(card);
    column()->addWidget(m_removal);
    column()->addWidget(m_problem);
    column()->addWidget(m_tip);
    connect(m_add, &PushButton::clicked, this, &FoldersSection::addFolder);
    connect(m_choose, &PushButton::clicked, this, &FoldersSection::addFolder);
    connect(m_restore, &PushButton::clicked, this, [this] {
        m_model.restoreFolder();
        if (!m_folderRows.isEmpty())
            m_folderRows.last()->setFocus(Qt::TabFocusReason);
    });
    setAcceptDrops(true);
    refresh();
}

QWidget *FoldersSection::makeEmptyState()
{
    auto *empty = new QWidget;
    m_emptyTitle = new WrappingLabel(TextStyle::BodySemibold);
    m_emptyTitle->setAlignment(Qt::AlignHCenter);
    m_emptyText = new WrappingLabel(TextStyle::Secondary, Tone::Secondary);
    m_emptyText->setAlignment(Qt::AlignHCenter);
    m_choose = new PushButton(PushButton::Look::Prominent);
    auto *rows = new QVBoxLayout(empty);
    rows->setSpacing(metrics::rowGap);
    rows->addWidget(new IconView(Symbol::FolderBadgePlus, metrics::emptyFolderIcon), 0, Qt::AlignHCenter);
    rows->addWidget(m_emptyTitle);
    rows->addWidget(m_emptyText);
    rows->addWidget(m_choose, 0, Qt::AlignHCenter);
    return empty;
}

void FoldersSection::addFolder()
{
    m_chooseFolders(*this, [model = QPointer(&m_model)](const std::vector<std::filesystem::path> &chosen) {
        if (model)
            model->addFolders(chosen);
    });
}

QWidget *FoldersSection::makeRemoval()
{
    auto *removal = new QWidget;
    m_removed = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    m_restore = new PushButton;
    auto *row = new QHBoxLayout(removal);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(metrics::rowGap);
    row->addWidget(m_removed, 1, Qt::AlignVCenter);
    row->addWidget(m_restore);
    return removal;
}

void FoldersSection::dragEnterEvent(QDragEnterEvent *event)
{
    for (const QUrl &url : event->mimeData()->urls()) {
        if (QFileInfo(url.toLocalFile()).isDir())
            event->acceptProposedAction();
    }
}

void FoldersSection::dropEvent(QDropEvent *event)
{
    std::vector<std::filesystem::path> folders;
    for (const QUrl &url : event->mimeData()->urls()) {
        if (QFileInfo(url.toLocalFile()).isDir())
            folders.emplace_back(QFile::encodeName(url.toLocalFile()).toStdString());
    }
    event->acceptProposedAction();
    if (!folders.empty())
        m_model.addFolders(folders);
}

// The focus stays in the list, where the row was.
void FoldersSection::removeRow(const std::filesystem::path &folder)
{
    const auto index = std::ranges::find(m_shown, folder) - m_shown.begin();
    m_model.removeFolder(folder);
    if (m_folderRows.isEmpty())
        m_choose->setFocus(Qt::TabFocusReason);
    else
        m_folderRows[std::min<qsizetype>(index, m_folderRows.size() - 1)]->focusRemove();
}

void FoldersSection::rebuildRows()
{
    while (const QLayoutItem *item = m_rows->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater(); // it may be the row whose button is being pressed
        delete item;
    }
    m_folderRows.clear();
    for (const std::filesystem::path &folder : m_shown) {
        // After the press has ended, because the row goes away by it.
        const auto remove = [this, folder] {
            QMetaObject::invokeMethod(
                this, [this, folder] { removeRow(folder); }, Qt::QueuedConnection);
        };
        if (!m_folderRows.isEmpty())
            m_rows->addWidget(new Divider(metrics::rowInsetX));
        auto *row = new FolderRow(folder, remove);
        connect(row, &FolderRow::pressed, this, [this, folder] { m_model.openFolder(folder); });
        m_folderRows.append(row);
        m_rows->addWidget(row);
    }
}

void FoldersSection::refresh()
{
    if (m_shown != m_model.preferences().folders) {
        m_shown = m_model.preferences().folders;
        rebuildRows();
    }
    for (qsizetype i = 0; i < m_folderRows.size(); ++i)
        m_folderRows[i]->refresh(m_model.isMissing(m_shown[static_cast<std::size_t>(i)]));
    const std::optional<std::filesystem::path> removed = m_model.removedFolder();
    m_removal->setVisible(removed.has_value());
    if (removed)
        m_removed->setText(
            L(composed(u"Le dossier « {0} » n’est plus surveillé."_s, {displayText(*removed)})));
    m_restore->setText(L(u"Rétablir"_s));
    m_title->setTexts(L(u"Dossiers surveillés"_s),
                      L(u"Les sous-dossiers sont inclus. Les fichiers déjà présents ne sont pas "
                        "convertis à l’activation."_s));
    m_add->setText(L(u"Ajouter un dossier"_s));
    m_empty->setVisible(m_shown.empty());
    m_emptyTitle->setText(L(u"Votre premier dossier"_s));
    m_emptyText->setText(L(u"Ajoutez un petit dossier de test pour commencer."_s));
    m_choose->setText(L(u"Choisir un dossier…"_s));
    m_problem->showText(L(m_model.watchMessage()));
    m_tip->setText(L(u"Dans Finder → Réglages → Options avancées, activez « Afficher toutes "
                     "les extensions ». Le Finder peut "
                     "demander de confirmer le changement d’extension."_s));
}

} // namespace quorvalent
