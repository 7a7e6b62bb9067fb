#include "ui/views/GeneralSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/FileBadge.h"
#include "ui/controls/IconView.h"
#include "ui/controls/Picker.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/RowText.h"
#include "ui/controls/Toggle.h"
#include "ui/controls/WrappingLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

QHBoxLayout *pickerRow(Label *label, Picker *picker)
{
    auto *row = new QHBoxLayout;
    label->setBuddy(picker); // what a screen reader calls the picker
    row->addWidget(label);
    row->addStretch();
    row->addWidget(picker);
    return row;
}

QHBoxLayout *symbolRow(Symbol symbol, Tone tone, QWidget *text)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(metrics::buttonIconSpacing);
    row->addWidget(new IconView(symbol, metrics::rowIcon, tone), 0, Qt::AlignVCenter);
    row->addWidget(text, 1);
    return row;
}

} // namespace

GeneralSection::GeneralSection(AppModel &model, QWidget *parent)
    : Section(parent)
    , m_model(model)
{
    buildChoices();
    buildIntroduction();
    buildOptions();
    buildFileManager();
    buildFooter();
    refresh();
}

void GeneralSection::buildChoices()
{
    m_languageLabel = new Label;
    m_language = new Picker(metrics::pickerWide);
    m_appearanceLabel = new Label;
    m_appearance = new Picker(metrics::pickerWide);
    auto *card = new Card;
    card->rows()->addLayout(pickerRow(m_languageLabel, m_language));
    card->add(new Divider);
    card->rows()->addLayout(pickerRow(m_appearanceLabel, m_appearance));
    column()->addWidget(card);
    connect(m_language, &Picker::picked, this,
            [this](const QVariant &code) { m_model.setLanguage(code.toString()); });
    connect(m_appearance, &Picker::picked, this,
            [this](const QVariant &choice) { m_model.setAppearance(choice.toString()); });
}

void GeneralSection::buildIntroduction()
{
    m_introduction = new WrappingLabel(TextStyle::Body);
    m_motto = new WrappingLabel(TextStyle::BodySemibold, Tone::Accent);
    auto *picture = new QHBoxLayout;
    picture->setSpacing(metrics::rowGap);
    picture->addWidget(new FileBadge(Symbol::Photo, u"photo.heic"_s));
    picture->addWidget(new IconView(Symbol::ArrowRight, metrics::rowIcon, Tone::Secondary));
    picture->addWidget(new FileBadge(Symbol::PhotoFill, u"photo.jpg"_s));
    picture->addStretch();
    auto *card = new Card;
    card->add(m_introduction);
    card->rows()->addLayout(symbolRow(Symbol::Sparkle, Tone::Accent, m_motto));
    card->rows()->addLayout(picture);
    column()->addWidget(card);
}

void GeneralSection::buildOptions()
{
    m_keepOriginal = new Toggle;
    m_launchAtLogin = new Toggle;
    m_loginNotice = new WrappingLabel(TextStyle::Secondary, Tone::Secondary);
    m_undo = new RowText;
    m_undoSpan = new Picker(metrics::pickerWidth);
    m_clearOriginals = new PushButton;
    auto *undo = new QHBoxLayout;
    undo->setSpacing(metrics::rowGap);
    undo->addWidget(m_undo, 1);
    undo->addWidget(m_clearOriginals);
    undo->addWidget(m_undoSpan);
    auto *card = new Card;
    card->add(m_keepOriginal);
    card->add(new Divider);
    card->rows()->addLayout(undo);
    card->add(new Divider);
    card->add(m_launchAtLogin);
    card->add(m_loginNotice);
    column()->addWidget(card);
    connect(m_keepOriginal, &Toggle::switched, this, [this](bool on) {
        m_model.changePreferences([on](Preferences &preferences) { preferences.keepOriginal = on; });
    });
    connect(m_undoSpan, &Picker::picked, this,
            [this](const QVariant &minutes) { m_model.setUndoSpan(std::chrono::minutes(minutes.toInt())); });
    connect(m_clearOriginals, &PushButton::clicked, this, [this] { m_model.clearKeptOriginals(); });
    connect(m_launchAtLogin, &Toggle::switched, this, [this](bool on) { m_model.setLaunchAtLogin(on); });
}

void GeneralSection::buildFileManager()
{
    m_withoutConfirmation = new Toggle;
    m_managed = new WrappingLabel(TextStyle::Secondary, Tone::Orange);
    m_fileManagerMessage = new WrappingLabel(TextStyle::Secondary, Tone::Secondary);
    m_fileManager = new Card;
    m_fileManager->add(m_withoutConfirmation);
    m_fileManager->add(m_managed);
    m_fileManager->add(m_fileManagerMessage);
    column()->addWidget(m_fileManager);
    connect(m_withoutConfirmation, &Toggle::switched, this, [this](bool on) {
        m_model.setRenameWithoutConfirmation(on);
        refresh(); // a refused consent changes nothing in the model, but the switch has moved
    });
}

void GeneralSection::buildFooter()
{
    m_local = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    m_help = new PushButton;
    m_about = new PushButton;
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(metrics::rowGap);
    buttons->addWidget(m_help);
    buttons->addWidget(m_about);
    buttons->addStretch();
    column()->addLayout(symbolRow(Symbol::LockShield, Tone::Accent, m_local));
    column()->addLayout(buttons);
    connect(m_help, &PushButton::clicked, this, [this] { m_model.openHelp(); });
    connect(m_about, &PushButton::clicked, this, [this] { m_model.setSelectedTab(u"À propos de"_s); });
}

void GeneralSection::refreshChoices()
{
    const QString system = L(u"Système"_s);
    QList<Picker::Choice> languages{{system, u"system"_s}};
    for (const Localization::Language &language : Localization::languages())
        languages.append({language.name, language.code});
    m_languageLabel->setText(L(u"Langue"_s));
    m_language->setState(languages, m_model.language());
    m_appearanceLabel->setText(L(u"Apparence"_s));
    m_appearance->setState({{system, u"system"_s}, {L(u"Clair"_s), u"light"_s}, {L(u"Sombre"_s), u"dark"_s}},
                           m_model.appearance());
}

void GeneralSection::refreshFileManager()
{
    m_fileManager->setVisible(m_model.hasFinderSetting());
    m_withoutConfirmation->setTexts(L(u"Renommer sans confirmation du Finder"_s),
                                    L(u"Réglage global : concerne tous les fichiers du Finder."_s));
    m_withoutConfirmation->setOn(m_model.renameWithoutConfirmation());
    m_withoutConfirmation->setEnabled(!m_model.finderSettingManaged());
    m_managed->showText(m_model.finderSettingManaged() ? L(u"Réglage géré par votre administrateur."_s)
                                                       : QString());
    m_fileManagerMessage->showText(L(m_model.finderSettingMessage()));
}

void GeneralSection::refreshUndo()
{
    const QString title = L(u"Garder les originaux remplacés"_s);
    m_undo->setTexts(title, L(u"Renommer le fichier dans l’autre sens rend alors l’original, intact."_s));
    m_undoSpan->setAccessibleDescription(title);
    const auto minutes = m_model.preferences().undoSpan.count();
    QList<Picker::Choice> spans{{L(u"Jamais"_s), 0}, {L(u"30 minutes"_s), 30}, {L(u"Un jour"_s), 24 * 60}};
    m_undoSpan->setState(spans, static_cast<int>(minutes));
    m_clearOriginals->setText(L(u"Effacer"_s));
    m_clearOriginals->setToolTip(L(u"Supprimer maintenant les originaux gardés"_s));
    m_clearOriginals->setEnabled(m_model.hasKeptOriginals());
}

void GeneralSection::refresh()
{
    refreshChoices();
    m_introduction->setText(
        L(u"Créez des dossiers surveillés pour que l’application convertisse automatiquement "
          "vos fichiers dans un "
          "autre format lorsque vous changez leur extension. ⚠️ Seuls les fichiers de même "
          "type peuvent être "
          "convertis entre eux : image vers image, audio vers audio ou vidéo vers vidéo."_s));
    m_motto->setText(L(u"RENOMMEZ. C’EST CONVERTI."_s));
    m_keepOriginal->setTexts(L(u"Conserver une copie originale"_s));
    m_keepOriginal->setOn(m_model.preferences().keepOriginal);
    m_launchAtLogin->setTexts(L(u"Ouvrir à l’ouverture de session"_s));
    m_launchAtLogin->setOn(m_model.preferences().launchAtLogin);
    m_loginNotice->showText(L(m_model.loginNotice()));
    refreshUndo();
    refreshFileManager();
    m_local->setText(L(u"Conversions 100 % locales, sans connexion Internet"_s));
    m_help->setText(L(u"Consulter l’aide"_s));
    m_about->setText(L(u"À propos de"_s));
}

} // namespace quorvalent
