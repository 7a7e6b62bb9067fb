#include "platform/update/FeedUpdater.h"
#include "platform/UpdaterWorld.h"

#include <QJsonObject>

#include <gmock/gmock.h>

#include <sys/resource.h>

#include <csignal>
#include <fstream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;
using Choice = UpdateDialogs::Choice;
using testing::ElementsAre;
using testing::HasSubstr;

using FeedUpdaterTest = UpdaterWorld;

TEST_F(FeedUpdaterTest, replacesTheBundleAndStartsTheNewVersion)
{
    check();
    EXPECT_EQ(installedVersion(), "2.0");
    EXPECT_EQ(folder.read("app/arguments"), "--go on");
    EXPECT_THAT(relaunches, ElementsAre("prepare", "quit"));
    EXPECT_FALSE(fs::exists(folder / ".app.update")) << "the old version is gone";
    EXPECT_THAT(dialogs.shown, ElementsAre("checking", "found 2.0 over 1.0", "download", "preparation",
                                           "ready", "restarting", "closed", "closed"));
}

TEST_F(FeedUpdaterTest, putsTheOldVersionBackWhenTheNewOneDoesNotStart)
{
    struct
    {
        const char *what;
        const char *program;
        unsigned mode = 0755;
        std::chrono::milliseconds patience = std::chrono::minutes(1);
    } const cases[] = {{"ends", "#!/bin/sh\nexit 1\n"},
                       {"says something else", "#!/bin/sh\nprintf x >&3\nsleep 60\n"},
                       {"says nothing", "#!/bin/sh\nsleep 60\n", 0755, std::chrono::milliseconds(1)},
                       {"cannot be run", "#!/bin/sh\n", 0644}};
    for (const auto &[what, program, mode, patience] : cases) {
        server.pages.clear();
        relaunches.clear();
        publish("2.0", program, "", mode);
        startPatience = patience;
        check();
        expectUntouched(what);
        EXPECT_THAT(relaunches, ElementsAre("prepare", "go on")) << what;
        EXPECT_EQ(outcome, UpdateError::Kind::Failed) << what;
        EXPECT_EQ(lastShown(), "La nouvelle version n’a pas démarré. La version précédente a été rétablie.");
    }
}

TEST_F(FeedUpdaterTest, putsTheOldVersionBackWhenItHasToEndBeforeTheNewOneRuns)
{
    // Tells nobody but this test that it is there, and has a child that holds its descriptors.
    publish("2.0", "#!/bin/sh\nsleep 60 &\nprintf $! > \"${0%/*}/../child\"\nwait\n");
    std::string child;
    check(true, [&] {
        std::getline(std::ifstream(folder / "app/child"), child);
        return !child.empty();
    });
    expectUntouched();
    EXPECT_TRUE(waitFor([&child] {
        std::string command; // nothing once the process is gone, whether or not it was reaped
        return !std::getline(std::ifstream("/proc/" + child + "/cmdline"), command);
    }));
}

TEST_F(FeedUpdaterTest, survivesAFullDiskWhileItFetchesOrUnpacks)
{
    publish("2.0", goodProgram, noise() + std::string(8'000'000, '\0')); // a small archive of something large
    struct rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    const auto signalBefore = std::signal(SIGXFSZ, SIG_IGN);
    for (const auto &[bytes, step] : {std::pair<rlim_t, const char *>(300'000, "download"),
                                      std::pair<rlim_t, const char *>(2'000'000, "preparation")}) {
        struct rlimit small = before;
        small.rlim_cur = bytes;
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
        check();
        ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
        EXPECT_EQ(outcome, UpdateError::Kind::Failed) << step;
        ASSERT_GE(dialogs.shown.size(), 2U);
        EXPECT_EQ(dialogs.shown[dialogs.shown.size() - 2], step);
        expectUntouched(step);
    }
    (void)std::signal(SIGXFSZ, signalBefore);
}

TEST_F(FeedUpdaterTest, installsWhenItIsAllowedTo)
{
    std::function<void()> install;
    postpone = [&](const std::function<void()> &continuation) {
        EXPECT_EQ(installedVersion(), "1");
        install = continuation;
        postToMain([&] { install(); }); // later, as at the end of a conversion
        return true;
    };
    check();
    EXPECT_EQ(installedVersion(), "2.0");
    EXPECT_THAT(dialogs.shown, testing::Contains("waiting"));
}

TEST_F(FeedUpdaterTest, saysNothingInTheBackgroundUnlessThereIsSomething)
{
    releases = {};
    check(false);
    EXPECT_EQ(outcome, UpdateError::Kind::NoUpdate);
    EXPECT_THAT(dialogs.shown, ElementsAre("closed"));
    dialogs.shown.clear();
    check(true);
    EXPECT_EQ(lastShown(), "up to date 1.0");
}

TEST_F(FeedUpdaterTest, offersASkippedVersionOnlyToThoseWhoAsk)
{
    dialogs.choice = Choice::Skip;
    check(false);
    EXPECT_EQ(outcome, std::nullopt);
    check(false);
    EXPECT_EQ(outcome, UpdateError::Kind::NoUpdate);
    dialogs.choice = Choice::Later;
    dialogs.shown.clear();
    check(true);
    EXPECT_THAT(dialogs.shown, ElementsAre("checking", "found 2.0 over 1.0", "closed"));
    expectUntouched();
}

TEST_F(FeedUpdaterTest, canBeCancelledAtEveryStep)
{
    postpone = [](const auto &) { return true; };
    for (const char *step : {"checking", "download", "preparation", "waiting"}) {
        dialogs.cancelledAt = step;
        check();
        EXPECT_EQ(outcome, std::nullopt) << step;
        EXPECT_EQ(lastShown(), "closed") << step;
        expectUntouched(step);
    }
    dialogs.cancelledAt.clear();
    dialogs.installNow = false;
    check();
    EXPECT_EQ(outcome, std::nullopt);
    expectUntouched("ready");
}

TEST_F(FeedUpdaterTest, checksAgainByItselfUntilThatIsSwitchedOff)
{
    releases = {};
    const std::unique_ptr<FeedUpdater> updater = startUpdater();
    updater->setUpdateCheckInterval(std::chrono::seconds(0));
    ASSERT_TRUE(waitFor([this] { return cycles == 3; }));
    updater->setAutomaticallyChecksForUpdates(false);
    ASSERT_TRUE(waitFor([&] { return updater->canCheckForUpdates(); }));
    const int cyclesBefore = cycles;
    bool isLater = false; // than a check that was still planned
    const BootTimer after(std::chrono::milliseconds(1), [&isLater] { isLater = true; });
    ASSERT_TRUE(waitFor([&isLater] { return isLater; }));
    EXPECT_TRUE(updater->canCheckForUpdates());
    EXPECT_EQ(cycles, cyclesBefore);
}

TEST_F(FeedUpdaterTest, followsARedirectionOnThisMachine)
{
    server.pages["/moved"] = {.content = signedFeed(releases, key)};
    server.pages["/feed"] = {.content = "", .status = 302, .location = "/moved"};
    dialogs.choice = Choice::Later;
    check();
    EXPECT_THAT(dialogs.shown, ElementsAre("checking", "found 2.0 over 1.0", "closed"));
}

TEST_F(FeedUpdaterTest, waitsForASlowServerThatIsFastEnough)
{
    limits.now = hurriedClock();
    limits.leastBytes = 1;
    dialogs.installNow = false;
    check();
    EXPECT_EQ(outcome, std::nullopt);
    EXPECT_THAT(server.requests, ElementsAre("/feed", "/archive.tar.zst")) << "no connection was given up";
}

TEST_F(FeedUpdaterTest, takesUpABrokenConnectionWhereItBroke)
{
    for (const bool knowsRanges : {true, false}) {
        server.pages["/archive.tar.zst"].cuts = {1000, 70'000};
        server.pages["/archive.tar.zst"].knowsRanges = knowsRanges;
        server.requests.clear();
        dialogs.installNow = false;
        check();
        EXPECT_EQ(outcome, std::nullopt);
        EXPECT_EQ(lastShown(), "closed");
        EXPECT_THAT(server.requests, ElementsAre("/feed", "/archive.tar.zst", "/archive.tar.zst bytes=1000-",
                                                 testing::StartsWith("/archive.tar.zst bytes=7")));
    }
}

struct Trouble
{
    const char *what;
    std::function<void()> make;
    UpdateError::Kind kind;
    const char *sentence;
};

TEST_F(FeedUpdaterTest, leavesTheBundleAloneWhateverGoesWrong)
{
    const char *unreachable = "Le serveur de mises à jour est injoignable.";
    const char *badFeed = "La signature de la liste des versions n’est pas valide.";
    const char *badAnswer = "La réponse du serveur de mises à jour n’est pas valide.";
    const char *badSignature = "La signature de la mise à jour n’est pas valide. Rien n’a été installé.";
    const char *incomplete = "Le téléchargement de la mise à jour est incomplet.";
    using Kind = UpdateError::Kind;
    const Trouble troubles[] = {
        {"no server", [this] { server.stop(); }, Kind::Unreachable, unreachable},
        {"no feed", [this] { server.pages["/feed"] = {.content = "gone", .status = 404}; }, Kind::Unreachable,
         unreachable},
        {"feed of someone else",
         [this] { server.pages["/feed"] = {.content = signedFeed(releases, SigningKey::generate())}; },
         Kind::BadFeed, badFeed},
        {"endless feed",
         [this] { server.pages["/feed"] = {.content = QByteArray(UpdateFeed::largestFeedBytes + 1, ' ')}; },
         Kind::BadArchive, badAnswer},
        {"feed elsewhere",
         [this] {
             server.pages["/feed"] = {.content = "", .status = 302, .location = "http://192.0.2.1/feed"};
         },
         Kind::Unreachable, badAnswer},
        {"archive of someone else", [this] { releases[0].signature.fill('x'); }, Kind::BadArchive,
         badSignature},
        {"archive changed",
         [this] {
             QByteArray &content = server.pages["/archive.tar.zst"].content;
             content[content.size() / 2] = static_cast<char>(content[content.size() / 2] ^ 1);
         },
         Kind::BadArchive, badSignature},
        {"archive too short", [this] { server.pages["/archive.tar.zst"].content.chop(9); }, Kind::BadArchive,
         incomplete},
        {"archive too long", [this] { server.pages["/archive.tar.zst"].content.append('x'); },
         Kind::BadArchive, badAnswer},
        {"archive on another machine", [this] { releases[0].archive = QUrl(u"http://192.0.2.1/archive"_s); },
         Kind::BadFeed, badAnswer},
        {"always breaks off",
         [this] { server.pages["/archive.tar.zst"].cuts = std::vector<qsizetype>(20, 10); },
         Kind::Unreachable, unreachable},
        {"gone in the middle",
         [this] {
             server.pages["/archive.tar.zst"].cuts = {1000};
             server.pages["/archive.tar.zst"].isLast = true;
         },
         Kind::Unreachable, unreachable},
        {"a few bytes now and then",
         [this] {
             limits.now = hurriedClock();
             server.pages["/archive.tar.zst"].cuts = std::vector<qsizetype>(20, 10);
             server.pages["/archive.tar.zst"].isSilent = true;
         },
         Kind::Unreachable, unreachable},
        {"not a byte",
         [this] {
             limits.silence = std::chrono::milliseconds(50);
             server.pages["/archive.tar.zst"].isSilent = true;
         },
         Kind::Unreachable, unreachable},
        {"takes too long in all",
         [this] {
             limits.total = std::chrono::milliseconds(50);
             server.pages["/feed"] = {.content = "", .isSilent = true};
         },
         Kind::Unreachable, unreachable},
        {"leads in circles",
         [this] { server.pages["/feed"] = {.content = "", .status = 302, .location = "/feed"}; },
         Kind::Unreachable, badAnswer},
        {"older version", [this] { releases[0].version = QVersionNumber(0, 9); }, Kind::NoUpdate,
         "up to date 1.0"},
    };
    const QByteArray archive = server.pages["/archive.tar.zst"].content;
    const std::vector<UpdateRelease> good = releases;
    const DownloadLimits usual = limits;
    for (const Trouble &trouble : troubles) {
        releases = good;
        limits = usual;
        server.pages = {{"/archive.tar.zst", {.content = archive}}};
        server.listen();
        trouble.make();
        check();
        EXPECT_EQ(outcome, trouble.kind) << trouble.what;
        EXPECT_EQ(lastShown(), trouble.sentence) << trouble.what;
        expectUntouched(trouble.what);
    }
    EXPECT_TRUE(relaunches.empty());
}

TEST_F(FeedUpdaterTest, touchesNothingThatIsNotTheUsers)
{
    (void)folder.write("app/Contents/Info.json", R"({"QuorvalentPackage": "deb"})");
    for (const auto &[place, sentence] : {std::pair("app", "gestionnaire de paquets"),
                                          std::pair("missing/app", "la personne qui administre")}) {
        bundle = folder / place;
        check();
        EXPECT_EQ(outcome, UpdateError::Kind::NotAllowed);
        EXPECT_THAT(lastShown(), HasSubstr(sentence));
        expectUntouched(place);
    }
}

TEST_F(FeedUpdaterTest, writesNothingWhereItWasStarted)
{
    const fs::path before = fs::current_path();
    (void)folder.write("here/feed", "the user's own");
    (void)folder.write("file", "");
    fs::current_path(folder / "here");
    const ScopedVariable noTemporaryFolder("TMPDIR", "/proc"); // where nobody can create anything
    dialogs.installNow = false;
    for (const auto &[place, expected] : {std::pair("caches", std::optional<UpdateError::Kind>()),
                                          std::pair("file", std::optional(UpdateError::Kind::Failed))}) {
        const ScopedVariable cacheFolder("XDG_CACHE_HOME", folder / place);
        check();
        EXPECT_EQ(outcome, expected) << place;
        EXPECT_EQ(folder.read("here/feed"), "the user's own");
        EXPECT_EQ(std::distance(fs::directory_iterator(folder / "here"), {}), 1) << place;
    }
    EXPECT_EQ(lastShown(), "« file » est introuvable.");
    EXPECT_TRUE(fs::is_empty(folder / "caches/quorvalent")) << "the list has no name that could stay behind";
    fs::current_path(before);
}

TEST_F(FeedUpdaterTest, leavesAnotherProcessAtItsUpdate)
{
    const std::optional<BundleExchange> other = BundleExchange::begin(folder / "app");
    ASSERT_TRUE(other);
    check();
    EXPECT_EQ(outcome, UpdateError::Kind::Failed);
    EXPECT_EQ(installedVersion(), "1");
}

TEST(FeedUpdater, cannotStartWithoutAFeed)
{
    const TestFolder folder;
    SettingsFile defaults(QString::fromStdString(folder / "settings.conf"));
    AnsweringDialogs dialogs;
    FeedUpdater updater(std::nullopt, defaults, dialogs, {});
    class NoDelegate : public UpdaterDelegate
    {
        bool shouldPostponeRelaunch(std::function<void()> /*install*/) override { return false; }
        void didFinishUpdateCycle(const std::optional<UpdateError> & /*error*/) override {}
    } delegate;
    EXPECT_THROW(updater.start(delegate), UpdateError);
    EXPECT_FALSE(updater.canCheckForUpdates());
    EXPECT_EQ(UpdateSource::ofRunningBundle(), std::nullopt);
    updater.setAutomaticallyChecksForUpdates(false);
    EXPECT_FALSE(updater.automaticallyChecksForUpdates());
}

TEST(FeedUpdater, checksWhenTheBundlesInformationSays)
{
    QJsonObject information{{u"SUFeedURL"_s, u"https://example.org/feed"_s},
                            {u"SUPublicEDKey"_s, SigningKey::generate().publicBase64()},
                            {u"QuorvalentDisplayVersion"_s, u"1.0"_s},
                            {u"SURequireSignedFeed"_s, true},
                            {u"SUVerifyUpdateBeforeExtraction"_s, true}};
    const auto source = [&information] { return UpdateSource::of("/bundle", information).value(); };
    EXPECT_TRUE(source().checksAutomatically);
    EXPECT_EQ(source().checkInterval, std::chrono::hours(4));
    information[u"SUUpdateCheckInterval"_s] = 5;
    EXPECT_EQ(source().checkInterval, std::chrono::hours(4)) << "no check every few seconds";
    information[u"SUUpdateCheckInterval"_s] = 86400;
    information[u"SUEnableAutomaticChecks"_s] = false;
    EXPECT_EQ(source().checkInterval, std::chrono::hours(24));

    const TestFolder folder;
    SettingsFile defaults(QString::fromStdString(folder / "settings.conf"));
    AnsweringDialogs dialogs;
    FeedUpdater updater(source(), defaults, dialogs, {});
    EXPECT_FALSE(updater.automaticallyChecksForUpdates());
    updater.setAutomaticallyChecksForUpdates(true);
    EXPECT_TRUE(updater.automaticallyChecksForUpdates()) << "the user's choice goes first";
}

TEST(Download, trustsOnlyHttpsAndThisMachine)
{
    for (const char *good : {"https://example.org/feed", "http://127.0.0.1:80/feed", "http://[::1]/feed"})
        EXPECT_TRUE(Download::isTrusted(QUrl(QLatin1StringView(good)))) << good;
    for (const char *bad : {"http://example.org/feed", "http://127.0.0.1.example.org/", "ftp://example.org/",
                            "file:///x", "https:///feed", ""})
        EXPECT_FALSE(Download::isTrusted(QUrl(QLatin1StringView(bad)))) << bad;

    const QUrl here(u"http://127.0.0.1/feed"_s);
    const QUrl elsewhere(u"https://example.org/feed"_s);
    EXPECT_TRUE(Download::mayLead(elsewhere, QUrl(u"https://example.net/feed"_s)));
    EXPECT_TRUE(Download::mayLead(here, elsewhere));
    EXPECT_FALSE(Download::mayLead(elsewhere, here));
    EXPECT_FALSE(Download::mayLead(elsewhere, QUrl(u"http://example.org/feed"_s)));
}

TEST(BootTimer, runsItsTaskOnceUnlessCancelled)
{
    int runs = 0;
    BootTimer timer(std::chrono::milliseconds(0), [&runs] { ++runs; });
    BootTimer cancelled(std::chrono::milliseconds(0), [&runs] { runs += 100; });
    cancelled.cancel();
    EXPECT_FALSE(cancelled.isPending());
    bool later = false;
    EXPECT_TRUE(waitFor([&runs] { return runs > 0; }));
    const BootTimer after(std::chrono::milliseconds(1), [&later] { later = true; });
    EXPECT_TRUE(waitFor([&later] { return later; }));
    EXPECT_EQ(runs, 1);
}

} // namespace

} // namespace quorvalent::test
