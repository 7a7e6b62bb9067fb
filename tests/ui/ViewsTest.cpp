#include "core/RenamePolicy.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "support/FakeDesktop.h"
#include "support/FakeWorld.h"
#include "ui/FloatingCard.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/Picker.h"
#include "ui/controls/SidebarButton.h"
#include "ui/controls/Toggle.h"
#include "ui/views/ActivityRow.h"
#include "ui/views/ActivitySection.h"
#include "ui/views/CompactBanner.h"
#include "ui/views/MenuView.h"
#include "ui/views/ProtectionWarning.h"
#include "ui/views/SettingsView.h"
#include "update/UpdateManager.h"

#include <QAbstractScrollArea>
#include <QAccessible>
#include <QApplication>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using namespace Qt::StringLiterals;

class Views : public testing::Test
{
protected:
    Views()
        : model(world.services(), noDesktop(), AppModel::Mode::Preview)
    {
        Localization::override = u"fr"_s;
    }

    /// The texts that a view shows, from top to bottom.
    static QStringList texts(const QWidget &view)
    {
        QStringList shown;
        for (const QLabel *label : view.findChildren<QLabel *>()) {
            if (!label->isHidden() && label->isVisibleTo(&view))
                shown.append(label->text());
        }
        return shown;
    }
    static QPushButton *button(const QWidget &view, const QString &text)
    {
        for (QPushButton *button : view.findChildren<QPushButton *>()) {
            if (button->text() == text)
                return button;
        }
        return nullptr;
    }
    ConversionStatus status(bool converting, std::optional<double> progress)
    {
        ConversionStatus shown;
        shown.isConverting = converting;
        shown.progress = progress;
        shown.currentName = u"photo.jpg"_s;
        shown.currentDetail = u"PNG → JPG"_s;
        return shown;
    }

    test::FakeWorld world;
    AppModel model;
};

TEST_F(Views, TheBannerTellsTheThreeOutcomes)
{
    const CompactBanner banner(model);
    const std::vector<std::pair<ConversionStatus, QString>> rows{{status(true, {}), u"En cours"_s},
                                                                 {status(true, 0.42), u"42 %"_s},
                                                                 {status(true, 0.999), u"99 %"_s},
                                                                 {status(false, 1.0), u"Terminé"_s},
                                                                 {status(false, {}), u"Voir Activité"_s}};
    for (const auto &[shown, label] : rows) {
        model.showSample(shown);
        EXPECT_TRUE(texts(banner).contains(label)) << label.toStdString();
        EXPECT_EQ(banner.accessibleName(), u"photo.jpg, "_s + label);
        EXPECT_EQ(banner.toolTip(), u"photo.jpg — PNG → JPG"_s);
    }
    EXPECT_EQ(banner.size(), QSize(280, 44));
}

TEST_F(Views, TheMenuFollowsTheModel)
{
    int opened = 0;
    const MenuView menu(model, {.settings = [&opened] { ++opened; },
                                .quit = [] {},
                                .dismissWarning = [] {},
                                .warningDetails = [] {}});
    EXPECT_TRUE(texts(menu).contains(u"Ajoutez un dossier pour commencer"_s));
    button(menu, u"Pause"_s)->click();
    EXPECT_TRUE(model.paused());
    EXPECT_TRUE(texts(menu).contains(u"En pause"_s));
    button(menu, u"Reprendre"_s)->click();
    EXPECT_FALSE(model.paused());
    button(menu, u"Réglages…"_s)->click();
    EXPECT_EQ(opened, 1);
    model.showSample(status(true, 0.42));
    EXPECT_TRUE(texts(menu).contains(u"Conversion en cours"_s));
    EXPECT_FALSE(texts(menu).contains(u"Ajoutez un dossier pour commencer"_s));
    EXPECT_FALSE(button(menu, u"Quitter"_s)->isEnabled());
    ConversionStatus done = status(false, 1.0);
    done.activities = {Activity(u"photo.jpg"_s, u"Conversion terminée"_s, true)};
    model.showSample(done);
    EXPECT_TRUE(texts(menu).contains(u"photo.jpg · Conversion terminée"_s));
    EXPECT_TRUE(button(menu, u"Quitter"_s)->isEnabled());
}

TEST_F(Views, TheActivityIsGoneThroughByKeyboardAndShowsItsFiles)
{
    test::FakeDesktop desktop;
    AppModel stored(world.services(), desktop.services(), AppModel::Mode::Preview);
    ConversionStatus shown;
    for (const char *file : {"/pictures/b.jpg", "/pictures/a.jpg"}) {
        Activity activity(QString::fromLatin1(file).section(u'/', -1), u"Conversion terminée"_s, true);
        activity.file = file;
        activity.change = u"HEIC → JPG"_s;
        shown.activities.append(activity);
    }
    stored.showSample(shown);
    ActivitySection section(stored);
    section.show();
    const QList<ActivityRow *> rows = section.findChildren<ActivityRow *>();
    ASSERT_EQ(rows.size(), 2);
    EXPECT_TRUE(texts(*rows[0]).contains(u"HEIC → JPG"_s));
    EXPECT_EQ(rows[0]->accessibleName(), u"b.jpg, Conversion terminée"_s);
    rows[0]->setFocus();
    QTest::keyClick(rows[0], Qt::Key_Down);
    EXPECT_EQ(section.window()->focusWidget(), rows[1]);
    QTest::keyClick(rows[1], Qt::Key_Return);
    EXPECT_EQ(desktop.log, std::vector<std::string>{"show /pictures/a.jpg"});
}

TEST_F(Views, TheWarningCountsFromTwoAndNamesTheFiles)
{
    const ProtectionWarning warning(model, {.dismiss = [] {}, .details = [] {}});
    ConversionStatus shown;
    for (const int count : {1, 3}) {
        shown.warningCount = count;
        model.showSample(shown);
        EXPECT_EQ(texts(warning).contains(QString::number(count)), count > 1);
    }
    EXPECT_EQ(warning.size(), QSize(340, 190));

    for (const QString &folder : {u"/a"_s, u"/b"_s, u"/c"_s, u"/d"_s, u"/e"_s})
        shown.warnedFiles.append({u"photo.jpg"_s, folder, u"Lecture de l’image impossible."_s});
    shown.warningCount = 14;
    model.showSample(shown);
    const QStringList seen = texts(warning);
    EXPECT_TRUE(seen.contains(u"photo.jpg"_s) && seen.contains(u"/a"_s));
    EXPECT_TRUE(seen.contains(u"/b/photo.jpg"_s) && seen.contains(u"/d/photo.jpg"_s));
    EXPECT_FALSE(seen.contains(u"/e/photo.jpg"_s));
    EXPECT_TRUE(seen.contains(u"Autres fichiers : 10"_s));
    EXPECT_GT(warning.height(), 190) << "the lines stand below the text and take none of its room";
}

TEST_F(Views, SettingsGoThroughTheModel)
{
    UpdateManager updates{model, nullptr};
    SettingsView view(
        model, {updates, [](QWidget &, const auto &give) { give({"/watched/A"}); }, [] { return true; }});
    const auto sections = view.findChildren<QRadioButton *>();
    ASSERT_EQ(sections.size(), 8);
    for (Toggle *toggle : view.findChildren<Toggle *>()) {
        if (toggle->text() == u"Conserver une copie originale"_s)
            toggle->click();
    }
    EXPECT_TRUE(model.preferences().keepOriginal);
    model.setSelectedTab(u"Rien de tel"_s);
    EXPECT_TRUE(sections.at(0)->isChecked());
    sections.at(1)->click();
    EXPECT_EQ(model.selectedTab(), u"Dossiers"_s);
    button(view, u"Choisir un dossier…"_s)->click();
    EXPECT_EQ(model.preferences().folders, (std::vector<std::filesystem::path>{"/watched/A"}));
    EXPECT_TRUE(texts(view).contains(u"/watched/A"_s));
}

/// Every text of a view that is not whole on the screen, except those that are to lose their middle or end.
std::string cutTexts(QWidget &view)
{
    QStringList cut;
    for (const Label *label : view.findChildren<Label *>()) {
        if (!label->isVisibleTo(&view) || qobject_cast<const ElidedLabel *>(label) != nullptr)
            continue;
        const QSize needed = label->minimumSizeHint();
        const bool whole = label->hasHeightForWidth() ? !label->isCut() : label->height() >= needed.height();
        if (!whole || label->width() < needed.width())
            cut.append(label->text());
    }
    for (const QPushButton *button : view.findChildren<QPushButton *>()) {
        if (button->isVisibleTo(&view) && button->width() < button->sizeHint().width())
            cut.append(button->text());
    }
    for (const Picker *picker : view.findChildren<Picker *>()) {
        if (picker->isVisibleTo(&view) && picker->isCut())
            cut.append(picker->currentText());
    }
    for (const SidebarButton *button : view.findChildren<SidebarButton *>()) {
        if (button->width() < button->sizeHint().width())
            cut.append(button->text());
    }
    return cut.join(u", "_s).toStdString();
}

TEST_F(Views, NothingIsCutOffInAnyLanguage)
{
    UpdateManager updates{model, nullptr};
    SettingsView settings(model, {updates, [](QWidget &, const auto &) {}, [] { return false; }});
    settings.show();
    FloatingCard menu(
        FloatingCard::Kind::Popover,
        new MenuView(model,
                     {.settings = [] {}, .quit = [] {}, .dismissWarning = [] {}, .warningDetails = [] {}}),
        0);
    FloatingCard banner(FloatingCard::Kind::Notice, new CompactBanner(model), 0);
    FloatingCard warning(FloatingCard::Kind::Warning,
                         new ProtectionWarning(model, {.dismiss = [] {}, .details = [] {}}), 0);
    std::vector<ConversionStatus> states{status(false, {}), status(true, {}), status(true, 1),
                                         status(false, 1)};
    states[0].warningTitle = u"Format non pris en charge"_s;
    states[0].warningMessage = composed(
        u"{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié."_s,
        {RenameProtection::rejectionReason(u"mp3"_s, u"mkv"_s).value_or(QString()), u"musique.mp3"_s});
    states[0].warningCount = 9;
    for (int file = 0; file < 5; ++file)
        states[0].warnedFiles.append({u"musique.mkv"_s, u"/folder"_s, states[0].warningMessage});
    model.setPaused(true);
    for (const Localization::Language &language : Localization::languages()) {
        SCOPED_TRACE(language.code.toStdString());
        model.setLanguage(language.code);
        Localization::override = language.code;
        for (QRadioButton *section : settings.findChildren<QRadioButton *>()) {
            section->click();
            QCoreApplication::processEvents(); // layouts follow their texts
            EXPECT_EQ(cutTexts(settings), "");
        }
        for (const ConversionStatus &state : states) {
            model.showSample(state);
            for (FloatingCard *card : {&menu, &banner, &warning}) {
                card->fit();
                EXPECT_EQ(cutTexts(*card), "");
            }
        }
    }
}

TEST_F(Views, TheBannerIsOneThingToAScreenReader)
{
    FloatingCard card(FloatingCard::Kind::Notice, new CompactBanner(model), 0);
    model.showSample(status(true, 0.42));
    QAccessibleInterface *window = QAccessible::queryAccessibleInterface(&card);
    ASSERT_EQ(window->childCount(), 1);
    const QAccessibleInterface *banner = window->child(0);
    EXPECT_EQ(banner->text(QAccessible::Name), u"photo.jpg, 42 %"_s);
    EXPECT_EQ(banner->childCount(), 0);
    EXPECT_EQ(window->text(QAccessible::Name), banner->text(QAccessible::Name));
}

TEST_F(Views, ThePopoverIsFoundFromTheProgram)
{
    FloatingCard card(
        FloatingCard::Kind::Popover,
        new MenuView(model,
                     {.settings = [] {}, .quit = [] {}, .dismissWarning = [] {}, .warningDetails = [] {}}),
        0);
    QAccessibleInterface *program = QAccessible::queryAccessibleInterface(qApp);
    const int others = program->childCount();
    card.show();
    ASSERT_EQ(program->childCount(), others + 1);
    const QAccessibleInterface *popover = program->child(others);
    EXPECT_EQ(popover->role(), QAccessible::Dialog);
    EXPECT_EQ(popover->text(QAccessible::Name), u"Quorvalent"_s);
    EXPECT_EQ(program->indexOfChild(popover), others);
}

/// The name of a control as a screen reader tells it: its own, or that of the label in front of it.
QString spokenName(QWidget &control)
{
    QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(&control);
    const auto labels = interface->relations(QAccessible::Label);
    return labels.isEmpty() ? interface->text(QAccessible::Name)
                            : labels.first().first->text(QAccessible::Name);
}

/// What Tab leads to from here, in its order; each one wholly on the screen when it has the keyboard.
QList<QWidget *> reachedByTab(QWidget &window, QWidget *start)
{
    QList<QWidget *> reached;
    start->setFocus();
    for (QWidget *now = start; !reached.contains(now); now = window.focusWidget()) {
        EXPECT_EQ(now->visibleRegion().boundingRect(), now->rect()) << spokenName(*now).toStdString();
        reached.append(now);
        QTest::keyClick(now, Qt::Key_Tab);
    }
    return reached;
}

TEST_F(Views, EveryControlHasARoleANameAndTheKeyboard)
{
    UpdateManager updates{model, nullptr};
    model.changePreferences([](Preferences &preferences) {
        preferences.folders = {"/watched/A", "/watched/B"};
    });
    SettingsView settings(model, {updates, [](QWidget &, const auto &) {}, [] { return true; }});
    settings.show();
    settings.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&settings));
    for (QRadioButton *section : settings.findChildren<QRadioButton *>()) {
        section->click();
        QCoreApplication::processEvents();
        const QList<QWidget *> reached = reachedByTab(settings, section);
        QStringList names;
        for (QWidget *widget : settings.findChildren<QWidget *>()) {
            if (!widget->isVisibleTo(&settings) || (widget->focusPolicy() & Qt::TabFocus) == 0 ||
                qobject_cast<QAbstractScrollArea *>(widget) != nullptr)
                continue;
            EXPECT_NE(QAccessible::queryAccessibleInterface(widget)->role(), QAccessible::Client)
                << widget->metaObject()->className();
            EXPECT_TRUE(!widget->isEnabled() || reached.contains(widget))
                << spokenName(*widget).toStdString();
            EXPECT_FALSE(spokenName(*widget).isEmpty()) << widget->metaObject()->className();
            names.append(spokenName(*widget));
        }
        EXPECT_EQ(names.removeDuplicates(), 0) << names.join(u", "_s).toStdString();
    }
}

} // namespace
} // namespace quorvalent
