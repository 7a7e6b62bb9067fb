#pragma once

#include "platform/SettingsFile.h"
#include "platform/update/FeedUpdater.h"
#include "support/HttpServer.h"
#include "support/ScopedVariable.h"
#include "support/TestArchive.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <QFile>

#include <gtest/gtest.h>

namespace quorvalent::test {

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

/// An installed bundle, a server with a newer one, and an updater between them.
class UpdaterWorld : public testing::Test, protected UpdaterDelegate
{
protected:
    static constexpr const char *goodProgram =
        "#!/bin/sh\nprintf '%s' \"$*\" > \"${0%/*}/../arguments\"\nprintf s >&3\n";

    UpdaterWorld()
    {
        (void)folder.write("app/version", "1");
        publish("2.0", goodProgram);
    }

    void publish(const char *version, const char *program, const std::string &filling = noise(),
                 unsigned programMode = 0755)
    {
        const std::filesystem::path archive = folder / "archive.tar.zst";
        writeArchive(archive, {{.name = "quorvalent/bin/quorvalent", .content = program, .mode = programMode},
                               {.name = "quorvalent/version", .content = version},
                               {.name = "quorvalent/filling", .content = filling}});
        releases = {signedRelease(key, version, archive)};
        QFile file(archive);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        server.pages["/archive.tar.zst"] = {.content = file.readAll()};
        std::filesystem::remove(archive);
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

    [[nodiscard]] std::unique_ptr<FeedUpdater> startUpdater()
    {
        if (!server.pages.contains("/feed"))
            server.pages["/feed"] = {.content = signedFeed(releases, key)};
        auto updater = std::make_unique<FeedUpdater>(
            UpdateSource{.feed = server.url("/feed"),
                         .key = key.publicKey(),
                         .bundle = bundle,
                         .installed = QVersionNumber(1, 0),
                         .limits = limits,
                         .startPatience = startPatience},
            defaults, dialogs,
            RelaunchActions{.prepare =
                                [this] {
                                    relaunches.emplace_back("prepare");
                                    return std::vector<std::string>{"--go", "on"};
                                },
                            .goOn = [this] { relaunches.emplace_back("go on"); },
                            .quit = [this] { relaunches.emplace_back("quit"); }});
        updater->start(*this);
        return updater;
    }

    /// Shows two minutes more at each look.
    static std::function<std::chrono::steady_clock::time_point()> hurriedClock()
    {
        return [now = std::chrono::steady_clock::time_point()]() mutable {
            return now += std::chrono::minutes(2);
        };
    }

    /// Runs one check to its end, or until something has come about.
    void check(
        bool isAskedFor = true, const std::function<bool()> &isEnough = [] { return false; })
    {
        const std::unique_ptr<FeedUpdater> updater = startUpdater();
        cycles = 0;
        if (isAskedFor)
            updater->checkForUpdates();
        else
            updater->checkForUpdatesInBackground();
        EXPECT_FALSE(updater->canCheckForUpdates());
        ASSERT_TRUE(waitFor([&] {
            return cycles > 0 || isEnough() || (!relaunches.empty() && relaunches.back() == "quit");
        }));
    }

    [[nodiscard]] std::string lastShown() const { return dialogs.shown.empty() ? "" : dialogs.shown.back(); }
    [[nodiscard]] std::string installedVersion() const { return folder.read("app/version"); }

    void expectUntouched(const char *what = "") const
    {
        EXPECT_EQ(installedVersion(), "1") << what;
        EXPECT_FALSE(std::filesystem::exists(folder / ".app.update")) << what;
    }

    TestFolder folder;
    ScopedVariable caches{"XDG_CACHE_HOME", folder / "caches"};
    std::filesystem::path bundle = folder / "app";
    HttpServer server;
    SigningKey key = SigningKey::generate();
    std::vector<UpdateRelease> releases;
    SettingsFile defaults{QString::fromStdString(folder / "settings.conf")};
    AnsweringDialogs dialogs;
    DownloadLimits limits{.silence = std::chrono::seconds(20), .pause = std::chrono::milliseconds(1)};
    std::chrono::milliseconds startPatience = std::chrono::minutes(1);
    std::vector<std::string> relaunches;
    std::optional<UpdateError::Kind> outcome; ///< of the last cycle; nothing when it ended well
    int cycles = 0;                           ///< that have ended
    std::function<bool(const std::function<void()> &)> postpone = [](const auto &) { return false; };

private:
    bool shouldPostponeRelaunch(std::function<void()> install) override { return postpone(install); }
    void didFinishUpdateCycle(const std::optional<UpdateError> &error) override
    {
        outcome = error ? std::optional(error->kind()) : std::nullopt;
        ++cycles;
    }
};

} // namespace quorvalent::test
