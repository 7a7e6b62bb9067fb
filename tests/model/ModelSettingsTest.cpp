#include "support/FakeDesktop.h"
#include "support/FakeWorld.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEvent>

#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

using Lines = std::vector<std::string>;
using Mode = AppModel::Mode;

class ModelSettingsTest : public testing::Test
{
protected:
    AppModel &launch(Mode mode = Mode::Normal)
    {
        model = std::make_unique<AppModel>(world.services(), desktop.services(), mode);
        model->onAppearance = [this](AppModel::Appearance appearance) {
            desktop.log.push_back("appearance " + std::to_string(int(appearance)));
        };
        model->askConsent = [this](const ConsentQuestion &question) {
            desktop.log.push_back("ask: " + question.title.toStdString());
            return consents;
        };
        return *model;
    }

    AppModel &start()
    {
        launch().start();
        world.runBackground();
        return *model;
    }

    FakeWorld world;
    FakeDesktop desktop;
    bool consents = true;
    std::unique_ptr<AppModel> model;
};

TEST_F(ModelSettingsTest, startsFreshOnTheFirstLaunch)
{
    start();

    EXPECT_EQ(model->language(), u"system"_s);
    EXPECT_EQ(model->appearance(), u"system"_s);
    EXPECT_EQ(model->selectedTab(), u"Général"_s);
    EXPECT_EQ(model->warningTitle(), u"Format non pris en charge"_s);
    EXPECT_EQ(model->preferences(), Preferences());
    EXPECT_EQ(desktop.log, Lines({"enable"}));
    EXPECT_EQ(desktop.stored().boolean(u"loginConfigured"_s), true);
    EXPECT_EQ(model->loginMessage(), u"Activé dans macOS"_s);
    EXPECT_EQ(model->loginNotice(), QString());
}

TEST_F(ModelSettingsTest, bringsARemovedFolderBackToItsPlace)
{
    launch().changePreferences([](Preferences &preferences) { preferences.folders = {"/a", "/b", "/c"}; });
    model->removeFolder("/b");
    EXPECT_EQ(model->removedFolder(), "/b");
    model->restoreFolder();
    EXPECT_EQ(model->preferences().folders, (std::vector<std::filesystem::path>{"/a", "/b", "/c"}));
    EXPECT_EQ(model->removedFolder(), std::nullopt);
}

TEST_F(ModelSettingsTest, keepsEveryChoiceForTheNextLaunch)
{
    launch().setLanguage(u"de"_s);
    EXPECT_EQ(std::exchange(desktop.language, {}), u"de"_s);
    model->setAppearance(u"dark"_s);
    model->changePreferences([](Preferences &preferences) { preferences.audioBitrate[u"mp3"_s] = 96; });
    model->setSettingsPlace({-300, 40, 700, 500});
    EXPECT_EQ(desktop.takeLog(), Lines({"appearance 2"}));

    launch();
    EXPECT_EQ(model->language(), u"de"_s);
    EXPECT_EQ(desktop.language, u"de"_s);
    EXPECT_EQ(model->appearance(), u"dark"_s);
    EXPECT_EQ(model->preferences().bitrate(u"mp3"_s), 96);
    EXPECT_EQ(model->settingsPlace(), QRect(-300, 40, 700, 500));
    model->applyAppearance();
    model->setAppearance(u"light"_s);
    model->setAppearance(u"sepia"_s);
    EXPECT_EQ(desktop.log, Lines({"appearance 2", "appearance 1", "appearance 0"}));
}

TEST_F(ModelSettingsTest, overwritesUnreadablePreferencesAtTheFirstChangeAndKeepsThemAside)
{
    desktop.stored().set(u"preferences"_s, "{\"folders\":[\"/precious\"]}"_ba);

    EXPECT_EQ(launch().preferences(), Preferences());
    EXPECT_EQ(desktop.folder.listing(), Lines({"quorvalent.conf"}));

    model->setPreferences({});
    EXPECT_EQ(desktop.folder.listing(), Lines({"quorvalent.conf", "quorvalent.conf.damaged-1"}));
    EXPECT_NE(desktop.folder.read("quorvalent.conf.damaged-1").find("/precious"), std::string::npos);
    EXPECT_EQ(Preferences::decoded(desktop.stored().data(u"preferences"_s).value()), Preferences());
}

TEST_F(ModelSettingsTest, touchesNothingInAPreview)
{
    desktop.hasFileManager = true;
    launch(Mode::Preview).start();
    model->setLanguage(u"ja"_s);
    model->setAppearance(u"light"_s);
    model->setLaunchAtLogin(false);
    model->addFolders({"/"});
    model->updateLoginStatus();
    model->refreshFinderSetting();
    model->setRenameWithoutConfirmation(true);

    EXPECT_TRUE(model->renameWithoutConfirmation()) << "the switch moves all the same";
    EXPECT_EQ(desktop.language, u"ja"_s) << "and texts follow";
    EXPECT_EQ(desktop.log, Lines({"appearance 1"}));
    EXPECT_EQ(world.backgroundTasks(), 0U);
    EXPECT_FALSE(desktop.hasStoredAnything());
}

struct LoginCase
{
    const char *name;
    bool isFirstStart;
    LoginItem::Status before;
    QString failure;
    Lines asked;
    QString message;
};

void PrintTo(const LoginCase &login, std::ostream *out)
{
    *out << login.name;
}

class LoginTest : public ModelSettingsTest, public testing::WithParamInterface<LoginCase>
{};

TEST_P(LoginTest, followsTheDesktopAtStart)
{
    if (!GetParam().isFirstStart)
        desktop.stored().set(u"loginConfigured"_s, true);
    desktop.loginStatus = GetParam().before;
    desktop.loginFailure = GetParam().failure;
    start();

    EXPECT_EQ(desktop.log, GetParam().asked);
    EXPECT_EQ(model->loginMessage(), GetParam().message);
    EXPECT_EQ(desktop.stored().boolean(u"loginConfigured"_s), true);
}

const QString notThere =
    u"Non activé dans macOS. Installez l’app dans Applications, puis activez ce réglage."_s;
const QString notAllowed = u"À autoriser dans Réglages Système → Général → Ouverture"_s;

const LoginCase logins[] = {
    {"laterOff", false, LoginItem::Status::NotRegistered, {}, {}, notThere},
    {"laterOn", false, LoginItem::Status::Enabled, {}, {}, u"Activé dans macOS"_s},
    {"laterSwitchedOff", false, LoginItem::Status::RequiresApproval, {}, {}, notAllowed},
    {"firstSwitchedOff", true, LoginItem::Status::RequiresApproval, {}, {}, notAllowed},
    {"firstFails",
     true,
     LoginItem::Status::NotRegistered,
     u"Espace disque insuffisant."_s,
     {"enable"},
     u"macOS : Espace disque insuffisant."_s},
};

INSTANTIATE_TEST_SUITE_P(Starts, LoginTest, testing::ValuesIn(logins),
                         [](const auto &test) { return std::string(test.param.name); });

TEST_F(ModelSettingsTest, tellsWhyRegisteringFailedInTheLanguageShown)
{
    desktop.loginFailure = u"Espace disque insuffisant."_s;
    start();
    desktop.translated = u" (de)"_s;
    EXPECT_EQ(model->loginNotice(), u"macOS : Espace disque insuffisant. (de)"_s);

    desktop.loginFailure.clear();
    model->setLaunchAtLogin(true);
    EXPECT_EQ(model->loginNotice(), QString());
}

TEST_F(ModelSettingsTest, registersWhateverWasSaidBeforeWhenTheUserAsks)
{
    desktop.loginStatus = LoginItem::Status::RequiresApproval;
    start().setLaunchAtLogin(true);
    EXPECT_EQ(model->loginNotice(), QString());

    model->setLaunchAtLogin(false);
    EXPECT_EQ(desktop.log, Lines({"enable", "disable"}));
    EXPECT_EQ(model->loginNotice(), notThere);
    EXPECT_FALSE(launch().preferences().launchAtLogin);
}

TEST_F(ModelSettingsTest, addsFoldersResolvedAndRestartsOnce)
{
    const std::filesystem::path real = desktop.folder / "real";
    std::filesystem::create_directories(real / "inner");
    std::filesystem::create_directory_symlink(real, desktop.folder / "link");
    start();
    world.log.clear();

    model->addFolders({real / "inner", desktop.folder / "link", "/nowhere/at/../all/", real / "inner"});
    EXPECT_EQ(model->preferences().folders, std::vector<std::filesystem::path>({real, "/nowhere/all"}));
    EXPECT_EQ(world.takeLog(), Lines({"watch " + real.native() + " /nowhere/all"}));

    model->removeFolder(real);
    EXPECT_EQ(world.log, Lines({"watch /nowhere/all"}));
    EXPECT_EQ(launch().preferences().folders, std::vector<std::filesystem::path>({"/nowhere/all"}));
}

TEST_F(ModelSettingsTest, tellsThatTheSystemSpeaksAnotherLanguage)
{
    launch();
    int announced = 0;
    QObject::connect(model.get(), &AppModel::languageChanged, [&announced] { ++announced; });
    QEvent change(QEvent::LocaleChange);
    QCoreApplication::sendEvent(QCoreApplication::instance(), &change);
    EXPECT_EQ(announced, 1);

    model->setLanguage(u"fr"_s);
    EXPECT_EQ(announced, 2);
}

TEST_F(ModelSettingsTest, opensTheHelpOfTheLanguageOrTheEnglishOne)
{
    launch();
    model->openHelp();
    model->openLicense(u"LICENSE"_s);
    EXPECT_TRUE(desktop.log.empty()) << "nothing is there to be opened";

    desktop.languageCode = u"km"_s;
    desktop.resources = {"Help/en.html", "LICENSE", "FFmpeg/COPYING.GPLv3"};
    model->openHelp();
    desktop.resources.emplace_back("Help/km.html");
    model->openHelp();
    model->openLicense(u"LICENSE"_s);
    model->openLicense(u"COPYING.GPLv3"_s, u"FFmpeg"_s);
    EXPECT_EQ(desktop.log,
              Lines({"open Help/en.html", "open Help/km.html", "open LICENSE", "open FFmpeg/COPYING.GPLv3"}));
}

TEST_F(ModelSettingsTest, hidesTheSwitchOfAFileManagerWithoutTheSetting)
{
    start().setRenameWithoutConfirmation(true);

    EXPECT_FALSE(model->hasFinderSetting());
    EXPECT_FALSE(model->renameWithoutConfirmation());
    EXPECT_EQ(model->finderSettingMessage(), QString());
}

class FinderSettingTest : public ModelSettingsTest
{
protected:
    FinderSettingTest()
    {
        desktop.hasFileManager = true;
        start();
        desktop.log.clear();
    }

    const std::string asked = "ask: Renommer sans confirmation du Finder ?";
    const QString saved = u"Réglage enregistré. Si le Finder conserve l’ancien comportement, relancez-le ou "
                          u"modifiez l’option dans ses réglages avancés."_s;
    const QString notKept = u"macOS n’a pas enregistré le réglage. Utilisez Finder → Réglages → Options "
                            u"avancées → Avertir avant de modifier une extension."_s;
};

TEST_F(FinderSettingTest, asksBeforeTheFirstChangeOnly)
{
    EXPECT_TRUE(model->hasFinderSetting());
    EXPECT_FALSE(model->renameWithoutConfirmation());

    for (const bool enabled : {true, false, true})
        model->setRenameWithoutConfirmation(enabled);
    EXPECT_EQ(desktop.log,
              Lines({asked, "FXEnableExtensionChangeWarning false", "FXEnableExtensionChangeWarning true",
                     "FXEnableExtensionChangeWarning false"}));
    EXPECT_TRUE(model->renameWithoutConfirmation());
    EXPECT_EQ(model->finderSettingMessage(), saved);
    EXPECT_EQ(desktop.stored().boolean(u"finderWarningConsent"_s), true);
}

TEST_F(FinderSettingTest, changesNothingWithoutConsent)
{
    consents = false;
    model->setRenameWithoutConfirmation(true);
    model->askConsent = nullptr;
    model->setRenameWithoutConfirmation(true);

    EXPECT_EQ(desktop.log, Lines({asked}));
    EXPECT_FALSE(model->renameWithoutConfirmation());
    EXPECT_EQ(model->finderSettingMessage(), QString());
    EXPECT_EQ(desktop.stored().boolean(u"finderWarningConsent"_s), std::nullopt);
}

TEST_F(FinderSettingTest, showsWhatTheFileManagerHasWhenItKeepsNoChange)
{
    desktop.finderKeepsChanges = false;
    model->setRenameWithoutConfirmation(true);
    EXPECT_FALSE(model->renameWithoutConfirmation());
    EXPECT_EQ(model->finderSettingMessage(), notKept);
    EXPECT_EQ(desktop.stored().boolean(u"finderWarningConsent"_s), std::nullopt);

    model->setRenameWithoutConfirmation(false);
    EXPECT_EQ(model->finderSettingMessage(), saved) << "absent means that the file manager warns";

    desktop.finderWarning = false;
    model->refreshFinderSetting();
    EXPECT_TRUE(model->renameWithoutConfirmation()) << "changed in the file manager itself";
}

TEST_F(FinderSettingTest, leavesAnImposedSettingAlone)
{
    desktop.finderIsForced = true;
    model->setRenameWithoutConfirmation(true);

    EXPECT_EQ(desktop.log, Lines({asked}));
    EXPECT_TRUE(model->finderSettingManaged());
    EXPECT_EQ(model->finderSettingMessage(), u"Ce réglage est imposé par l’administrateur de ce Mac."_s);
}

TEST_F(ModelSettingsTest, answersWhatTheDisplaysShow)
{
    using State = ConversionState;
    struct Look
    {
        bool isConverting;
        std::optional<double> progress;
        State state;
        QString title, percentage, label;
    };
    const Look looks[] = {
        {true, std::nullopt, State::Converting, u"Conversion en cours"_s, {}, u"En cours"_s},
        {true, 0.42, State::Converting, u"Conversion en cours"_s, u"42 %"_s, u"42 %"_s},
        {true, 0.999, State::Converting, u"Conversion en cours"_s, u"99 %"_s, u"99 %"_s},
        {false, 1.0, State::Succeeded, u"C’est converti"_s, {}, u"Terminé"_s},
        {false, std::nullopt, State::Interrupted, u"Conversion interrompue"_s, {}, u"Voir Activité"_s},
    };
    launch(Mode::Preview);
    for (const Look &look : looks) {
        ConversionStatus sample;
        sample.isConverting = look.isConverting;
        sample.progress = look.progress;
        model->showSample(sample);
        EXPECT_EQ(model->conversionState(), look.state);
        EXPECT_EQ(model->progressTitle(), look.title);
        EXPECT_EQ(model->percentageText(), look.percentage);
        EXPECT_EQ(model->bannerLabel(), look.label);
    }

    EXPECT_EQ(model->statusText(), u"Ajoutez un dossier pour commencer"_s);
    model->addFolders({"/"});
    EXPECT_EQ(model->statusText(), u"À l’écoute des changements d’extension"_s);
    EXPECT_EQ(model->pauseActionText(), u"Pause"_s);
    model->togglePause();
    EXPECT_EQ(model->statusText(), u"En pause"_s);
    EXPECT_EQ(model->pauseActionText(), u"Reprendre"_s);
}

} // namespace

} // namespace quorvalent::test
