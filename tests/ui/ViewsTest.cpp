#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "support/FakeWorld.h"
#include "ui/controls/Label.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/TextBlock.h"
#include "ui/controls/Toggle.h"
#include "ui/views/CompactBanner.h"
#include "ui/views/MenuView.h"
#include "ui/views/ProtectionWarning.h"
#include "ui/views/SettingsView.h"
#include "update/UpdateManager.h"

#include <QApplication>
#include <QRadioButton>

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
    const MenuView menu(model, {.settings = [&opened] { ++opened; }, .quit = [] {}});
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

TEST_F(Views, TheWarningCountsFromTwo)
{
    const ProtectionWarning warning(model, {.dismiss = [] {}, .details = [] {}});
    ConversionStatus shown;
    for (const int count : {1, 3}) {
        shown.warningCount = count;
        model.showSample(shown);
        EXPECT_EQ(texts(warning).contains(QString::number(count)), count > 1);
    }
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

// What does not fit is cut off or lies over its neighbour; both can be seen from the sizes.
TEST_F(Views, NothingIsCutOffInAnyLanguage)
{
    UpdateManager updates{model, nullptr};
    const SettingsView view(model, {updates, [](QWidget &, const auto &) {}, [] { return false; }});
    const MenuView menu(model, {.settings = [] {}, .quit = [] {}});
    model.setPaused(true);
    const_cast<SettingsView &>(view).show();
    for (const Localization::Language &language : Localization::languages()) {
        model.setLanguage(language.code);
        Localization::override = language.code;
        for (const QRadioButton *section : view.findChildren<QRadioButton *>()) {
            const_cast<QRadioButton *>(section)->click();
            QCoreApplication::processEvents(); // layouts follow their texts
            QImage sink(view.size(), QImage::Format_RGB32);
            const_cast<SettingsView &>(view).render(&sink);
            for (const QWidget *window :
                 {static_cast<const QWidget *>(&view), static_cast<const QWidget *>(&menu)}) {
                for (const QPushButton *button : window->findChildren<QPushButton *>()) {
                    if (button->isVisibleTo(window)) {
                        EXPECT_GE(button->width(), button->sizeHint().width())
                            << language.code.toStdString() << ": " << button->text().toStdString();
                    }
                }
            }
            for (const Label *label : view.findChildren<Label *>()) {
                if (!label->isVisibleTo(&view) || label->toolTip() == label->text())
                    continue;
                const int needed = label->hasHeightForWidth() ? label->heightForWidth(label->width())
                                                              : label->minimumSizeHint().height();
                EXPECT_GE(label->height(), needed)
                    << language.code.toStdString() << ": " << label->text().toStdString();
                EXPECT_GE(label->width(), label->minimumSizeHint().width())
                    << language.code.toStdString() << ": " << label->text().toStdString();
            }
        }
    }
}

} // namespace
} // namespace quorvalent
