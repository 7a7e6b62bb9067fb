#include "ui/views/FoldersSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/IconView.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/RowText.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/FolderRow.h"

#include <QPointer>
#include <QVBoxLayout>

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
    , m_problem(new WrappingLabel(TextStyle::Secondary, Tone::Orange))
    , m_tip(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
{
    m_add->setSymbol(Symbol::Plus);
    auto *header = new QHBoxLayout;
    header->setSpacing(metrics::cardPadding);
    header->addWidget(m_title, 1);
    header->addWidget(m_add, 0, Qt::AlignTop);
    m_rows->setSpacing(metrics::rowGap);
    auto *card = new Card;
    card->rows()->addLayout(header);
    card->add(new Divider);
    card->add(m_empty);
    card->rows()->addLayout(m_rows);
    column()->addWidget(card);
    column()->addWidget(m_problem);
    column()->addWidget(m_tip);
    connect(m_add, &PushButton::clicked, this, &FoldersSection::addFolder);
    connect(m_choose, &PushButton::clicked, this, &FoldersSection::addFolder);
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

void FoldersSection::rebuildRows()
{
    while (const QLayoutItem *item = m_rows->takeAt(0)) {
        item->widget()->hide();
        item->widget()->deleteLater(); // it may be the row whose button is being pressed
        delete item;
    }
    for (const std::filesystem::path &folder : m_shown) {
        // After the press has ended, because the row goes away by it.
        const auto remove = [this, folder] {
            QMetaObject::invokeMethod(
                this, [this, folder] { m_model.removeFolder(folder); }, Qt::QueuedConnection);
        };
        m_rows->addWidget(new FolderRow(folder, remove));
    }
}

void FoldersSection::refresh()
{
    if (m_shown != m_model.preferences().folders) {
        m_shown = m_model.preferences().folders;
        rebuildRows();
    }
    for (int i = 0; i < m_rows->count(); ++i) {
        const bool isMissing = m_model.isMissing(m_shown[static_cast<std::size_t>(i)]);
        static_cast<FolderRow *>(m_rows->itemAt(i)->widget())->refresh(isMissing);
    }
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
