#include "platform/update/FeedUpdater.h"
#include "platform/SettingsFile.h"
#include "support/HttpServer.h"
#include "support/TestArchive.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <QFile>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

/// Answers as the test says, from the event loop as a person does, and writes down what was shown.
class AnsweringDialogs : public UpdateDialogs
{
public:
    void showChecking(std::function<void()> cancel) override { step("checking", std::move(cancel)); }
    void showFound(const UpdateRelease &release, const QString &installed,
                   std::function<void(Choice)> answer) override
    {
        shown.push_back("found " + release.version.toString().toStdString() + " over " +
                        installed.toStdString());
        postToMain([answer = std::move(answer), choice = choice] { answer(choice); });
    }
    void showDownload(qint64 /*received*/, qint64 /*total*/, std::function<void()> cancel) override
    {
        if (shown.empty() || shown.back() != "download")
            step("download", std::move(cancel));
    }
    void showPreparation(std::function<void()> cancel) override { step("preparation", std::move(cancel)); }
    void showReady(const UpdateRelease & /*release*/, std::function<void(bool)> answer) override
    {
        shown.emplace_back("ready");
        postToMain([answer = std::move(answer), installNow = installNow] { answer(installNow); });
    }
    void showWaiting(std::function<void()> cancel) override { step("waiting", std::move(cancel)); }
    void showRestarting() override { shown.emplace_back("restarting"); }
    void showUpToDate(const QString &installed) override
    {
        shown.push_back("up to date " + installed.toStdString());
    }
    void showFailure(const QString &sentence) override { shown.push_back(sentence.toStdString()); }
    void close() override { shown.emplace_back("closed"); }

    Choice choice = Choice::Install;
    bool installNow = true;
    std::string cancelledAt; ///< the step in which the user presses Cancel
    std::vector<std::string> shown;

private:
    void step(const char *name, std::function<void()> cancel)
    {
        shown.emplace_back(name);
        if (cancelledAt == name)
            postToMain(std::move(cancel));
    }
};

constexpr const char *goodProgram =
    "#!/bin/sh\nprintf '%s' \"$*\" > \"${0%/*}/../arguments\"\nprintf s >&3\n";
constexpr const char *brokenProgram = "#!/bin/sh\nexit 1\n";

class FeedUpdaterTest : public testing::Test, private UpdaterDelegate
{
protected:
    FeedUpdaterTest()
    {
        (void)folder.write("app/version", "1");
        publish("2.0", goodProgram);
    }

    void publish(const char *version, const char *program, const std::string &filling = noise())
    {
        const fs::path archive = folder / "archive.tar.zst";
        writeArchive(archive, {{.name = "quorvalent/bin/quorvalent", .content = program, .mode = 0755},
                               {.name = "quorvalent/version", .content = version},
                               {.name = "quorvalent/filling", .content = filling}});
        releases = {signedRelease(key, version, archive)};
        QFile file(archive);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        server.pages["/archive.tar.zst"] = {.content = file.readAll()};
        fs::remove(archive);
    }

    // Does not compress, so that the archive takes several reads.
    static std::string noise()
    {
        std::string text(600'000, '\0');
        unsigned state = 1;
        for (char &byte : text)
            byte = static_cast<char>((state = state * 1664525U + 1013904223U) >> 24U);
        return text;
    }

    /// Runs one check to its end, or until something has come about.
    void check(
        bool isAskedFor = true, const std::function<bool()> &isEnough = [] { return false; })
    {
        if (!server.pages.contains("/feed"))
            server.pages["/feed"] = {.content = signedFeed(releases, key)};
        UpdateSource source{.feed = server.url("/feed"),
                            .key = key.publicKey(),
                            .bundle = folder / "app",
                            .installed = QVersionNumber(1, 0),
                            .limits = limits};
        RelaunchActions relaunch{.prepare =
                                     [this] {
                                         relaunches.emplace_back("prepare");
                                         return std::vector<std::string>{"--go", "on"};
                                     },
                                 .goOn = [this] { relaunches.emplace_back("go on"); },
                                 .quit = [this] { relaunches.emplace_back("quit"); }};
        FeedUpdater updater(source, defaults, dialogs, relaunch);
        updater.start(*this);
        ended = false;
        if (isAskedFor)
            updater.checkForUpdates();
        else
            updater.checkForUpdatesInBackground();
        EXPECT_FALSE(updater.canCheckForUpdates());
        ASSERT_TRUE(waitFor(
            [&] { return ended || isEnough() || (!relaunches.empty() && relaunches.back() == "quit"); }));
    }

    [[nodiscard]] std::string lastShown() const { return dialogs.shown.empty() ? "" : dialogs.shown.back(); }
    [[nodiscard]] std::string installedVersion() const { return folder.read("app/version"); }

    void expectUntouched(const char *what = "") const
    {
        EXPECT_EQ(installedVersion(), "1") << what;
        EXPECT_FALSE(fs::exists(folder / ".app.update")) << what;
    }

    TestFolder folder;
    HttpServer server;
    SigningKey key = SigningKey::generate();
    std::vector<UpdateRelease> releases;
    SettingsFile defaults{QString::fromStdString(folder / "settings.conf")};
    AnsweringDialogs dialogs;
    DownloadLimits limits{.silence = std::chrono::seconds(20), .pause = std::chrono::milliseconds(1)};
    std::vector<std::string> relaunches;
    std::optional<UpdateError::Kind> outcome; ///< of the last cycle; nothing when it ended well
    bool ended = false;
    std::function<bool(const std::function<void()> &)> postpone = [](const auto &) { return false; };

private:
    bool shouldPostponeRelaunch(std::function<void()> install) override { return postpone(install); }
    void didFinishUpdateCycle(const std::optional<UpdateError> &error) override
    {
        outcome = error ? std::optional(error->kind()) : std::nullopt;
        ended = true;
    }
};

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
    publish("2.0", brokenProgram);
    check();
    expectUntouched();
    EXPECT_THAT(relaunches, ElementsAre("prepare", "go on"));
    EXPECT_EQ(outcome, UpdateError::Kind::Failed);
    EXPECT_EQ(lastShown(), "La nouvelle version n’a pas démarré. La version précédente a été rétablie.");
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

TEST_F(FeedUpdaterTest, survivesAFullDiskWhileItUnpacks)
{
    publish("2.0", goodProgram, std::string(8'000'000, '\0')); // a small archive of something large
    struct rlimit before = {};
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
    struct rlimit small = before;
    small.rlim_cur = 2'000'000;
    const auto signalBefore = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    check();
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
    (void)std::signal(SIGXFSZ, signalBefore);
    EXPECT_EQ(outcome, UpdateError::Kind::Failed);
    EXPECT_THAT(dialogs.shown, testing::Contains("preparation"));
    expectUntouched();
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
        {"older version", [this] { releases[0].version = QVersionNumber(0, 9); }, Kind::NoUpdate,
         "up to date 1.0"},
    };
    const QByteArray archive = server.pages["/archive.tar.zst"].content;
    const std::vector<UpdateRelease> good = releases;
    for (auto trouble = std::rbegin(troubles); trouble != std::rend(troubles);
         ++trouble) { // the stop comes last
        releases = good;
        server.pages = {{"/archive.tar.zst", {.content = archive}}};
        trouble->make();
        check();
        EXPECT_EQ(outcome, trouble->kind) << trouble->what;
        EXPECT_EQ(lastShown(), trouble->sentence) << trouble->what;
        expectUntouched(trouble->what);
    }
    EXPECT_TRUE(relaunches.empty());
}

TEST_F(FeedUpdaterTest, givesUpOnASilentServer)
{
    limits = {
        .silence = std::chrono::milliseconds(50), .resumptions = 1, .pause = std::chrono::milliseconds(1)};
    server.pages["/feed"] = {.content = "", .isSilent = true};
    check();
    EXPECT_EQ(outcome, UpdateError::Kind::Unreachable);
    expectUntouched();
}

TEST_F(FeedUpdaterTest, touchesNothingOfAPackageManagers)
{
    (void)folder.write("app/Contents/Info.json", R"({"QuorvalentPackage": "deb"})");
    check();
    EXPECT_EQ(outcome, UpdateError::Kind::NotAllowed);
    EXPECT_THAT(lastShown(), HasSubstr("gestionnaire de paquets"));
    expectUntouched();
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

TEST(Download, trustsOnlyHttpsAndThisMachine)
{
    for (const char *good : {"https://example.org/feed", "http://127.0.0.1:80/feed", "http://[::1]/feed"})
        EXPECT_TRUE(Download::isTrusted(QUrl(QLatin1StringView(good)))) << good;
    for (const char *bad : {"http://example.org/feed", "http://127.0.0.1.example.org/", "ftp://example.org/",
                            "file:///x", "https:///feed", ""})
        EXPECT_FALSE(Download::isTrusted(QUrl(QLatin1StringView(bad)))) << bad;
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
