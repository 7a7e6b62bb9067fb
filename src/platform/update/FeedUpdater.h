#pragma once

#include "platform/FileDescriptor.h"
#include "platform/Updater.h"
#include "platform/update/BootTimer.h"
#include "platform/update/BundleExchange.h"
#include "platform/update/Download.h"
#include "platform/update/ProgramLaunch.h"
#include "platform/update/PublicKey.h"
#include "platform/update/UpdateDialogs.h"
#include "platform/update/UpdateFeed.h"

#include <atomic>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class QJsonObject;
class QNetworkAccessManager;

namespace quorvalent {

class UserDefaults;

/// Where updates come from, and what they replace.
struct UpdateSource
{
    QUrl feed;
    PublicKey key;
    std::filesystem::path bundle;
    QVersionNumber installed;
    bool checksAutomatically = true; ///< until the user decides
    std::chrono::seconds checkInterval = std::chrono::hours(4);
    DownloadLimits limits = {};
    std::chrono::milliseconds startPatience = std::chrono::seconds(60); ///< for the new version to come up

    /// As the running bundle's information has it ("SUFeedURL", "SUPublicEDKey"); nothing where one of them
    /// is missing or unusable, or where it does not insist on signatures ("SURequireSignedFeed",
    /// "SUVerifyUpdateBeforeExtraction"). "SUEnableAutomaticChecks" and "SUUpdateCheckInterval" (seconds, at
    /// least a minute) decide when checks are made by themselves.
    [[nodiscard]] static std::optional<UpdateSource> ofRunningBundle();
    /// The same of another bundle and its information.
    [[nodiscard]] static std::optional<UpdateSource> of(const std::filesystem::path &bundle,
                                                        const QJsonObject &information);
};

/// What the program does around its own replacement. Main thread; each must be set.
struct RelaunchActions
{
    /// Makes way for the new version, of which only one may run, and tells it in arguments how to go on.
    std::function<std::vector<std::string>()> prepare;
    /// The new version did not start: takes back what was given up.
    std::function<void()> goOn;
    /// The new version runs.
    std::function<void()> quit;
};

/// The updater on a signed feed: one check at a time, from the feed to the exchange of the bundle. Whatever
/// fails or is cancelled on the way, the installed bundle stays as it is.
class FeedUpdater : public Updater
{
    Q_OBJECT

public:
    /// Without a source, start() throws. `defaults` and `dialogs` outlive the updater.
    FeedUpdater(std::optional<UpdateSource> source, UserDefaults &defaults, UpdateDialogs &dialogs,
                RelaunchActions relaunch);
    ~FeedUpdater() override;

    void start(UpdaterDelegate &delegate) override;
    [[nodiscard]] bool canCheckForUpdates() const override { return m_delegate != nullptr && !m_isChecking; }
    [[nodiscard]] bool automaticallyChecksForUpdates() const override;
    void setAutomaticallyChecksForUpdates(bool enabled) override;
    void setUpdateCheckInterval(std::chrono::seconds interval) override;
    void checkForUpdatesInBackground() override { begin(false); }
    void checkForUpdates() override { begin(true); }

private:
    void begin(bool isAskedFor);
    void fetchFeed();
    void readFeed(const std::optional<UpdateError> &failure);
    void choose(const UpdateFeed &feed);
    void requireOwnBundle() const;
    void fetch();
    void prepare();
    void endPreparation(const std::optional<UpdateError> &failure);
    void offerInstallation();
    void install();
    void relaunch();
    void undo(const QString &sentence);

    void cancel();
    void end(const std::optional<UpdateError> &outcome);
    void show(const std::optional<UpdateError> &outcome);
    void scheduleNext();
    /// Runs a step of the cycle; what it throws ends the cycle.
    void attempt(const std::function<void()> &step);

    std::optional<UpdateSource> m_source;
    UserDefaults &m_defaults;
    UpdateDialogs &m_dialogs;
    RelaunchActions m_relaunch;
    UpdaterDelegate *m_delegate = nullptr;
    std::chrono::seconds m_interval = std::chrono::hours(4);
    BootTimer m_nextCheck;

    // One cycle
    bool m_isChecking = false;
    bool m_isVisible = false;                         ///< the user asked for the check or has answered it
    bool m_isPreparing = false;                       ///< the background works beside the bundle
    std::unique_ptr<QNetworkAccessManager> m_network; ///< its thread and connections end with the cycle
    std::shared_ptr<std::atomic<bool>> m_isCancelled;
    FileDescriptor m_feedFile; ///< without a name, so that nothing stays behind
    std::unique_ptr<Download> m_download;
    std::optional<UpdateRelease> m_release;
    std::shared_ptr<BundleExchange> m_exchange; ///< shared with the background work that unpacks into it
    std::unique_ptr<ProgramLaunch> m_launch;
};

} // namespace quorvalent
