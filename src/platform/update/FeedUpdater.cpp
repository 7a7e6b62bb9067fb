#include "platform/update/FeedUpdater.h"

#include "platform/Bundle.h"
#include "platform/CacheFolder.h"
#include "platform/NamelessFile.h"
#include "platform/UserDefaults.h"
#include "platform/update/UpdateArchive.h"

#include <QFile>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QPointer>
#include <QRandomGenerator>

#include <fcntl.h>

#include <cerrno>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;
using Kind = UpdateError::Kind;

const QString automaticKey = u"updatesAutomatic"_s;
const QString skippedKey = u"updatesSkippedVersion"_s;

UpdateError installationFailed()
{
    return {Kind::Failed, u"L’installation a échoué. La version actuelle reste en place."_s};
}

FileDescriptor duplicateOf(const FileDescriptor &file, const fs::path &path)
{
    FileDescriptor duplicate(::fcntl(file.get(), F_DUPFD_CLOEXEC, 0));
    if (!duplicate.isOpen())
        throw FileError(errno, path);
    return duplicate;
}

// From its beginning, wherever it was written last.
QByteArray contentOf(const FileDescriptor &descriptor)
{
    QFile file;
    if (!file.open(descriptor.get(), QIODevice::ReadOnly) || !file.seek(0))
        throw FileError(EIO, CacheFolder::existing());
    return file.readAll();
}

/// What the background work of preparing came to; nothing after a success.
std::optional<UpdateError> prepared(const BundleExchange &place, const UpdateRelease &release,
                                    const PublicKey &key, const std::atomic<bool> &isCancelled)
{
    try {
        UpdateArchive::verify(place.archive(), release, key);
        UpdateArchive::unpack(place.archive(), place.candidate(),
                              [&isCancelled] { return isCancelled.load(); });
        return std::nullopt;
    } catch (const UpdateError &error) {
        return error;
    } catch (const Error &error) {
        return UpdateError(Kind::Failed, error.errorDescription());
    }
}

} // namespace

std::optional<UpdateSource> UpdateSource::ofRunningBundle()
{
    return of(Bundle::root(), Bundle::information());
}

std::optional<UpdateSource> UpdateSource::of(const fs::path &bundle, const QJsonObject &information)
{
    constexpr int leastInterval = 60; // seconds
    const QUrl feed(information["SUFeedURL"_L1].toString(), QUrl::StrictMode);
    const auto key = PublicKey::fromBase64(information["SUPublicEDKey"_L1].toString());
    const auto installed = QVersionNumber::fromString(information["QuorvalentDisplayVersion"_L1].toString());
    const bool insists = information["SURequireSignedFeed"_L1].toBool() &&
                         information["SUVerifyUpdateBeforeExtraction"_L1].toBool();
    if (!Download::isTrusted(feed) || !key || installed.isNull() || !insists || !bundle.is_absolute())
        return std::nullopt;
    UpdateSource source{.feed = feed, .key = *key, .bundle = bundle, .installed = installed};
    source.checksAutomatically = information["SUEnableAutomaticChecks"_L1].toBool(source.checksAutomatically);
    if (const int seconds = information["SUUpdateCheckInterval"_L1].toInt(); seconds >= leastInterval)
        source.checkInterval = std::chrono::seconds(seconds);
    return source;
}

FeedUpdater::FeedUpdater(std::optional<UpdateSource> source, UserDefaults &defaults, UpdateDialogs &dialogs,
                         RelaunchActions relaunch)
    : m_source(std::move(source))
    , m_defaults(defaults)
    , m_dialogs(dialogs)
    , m_relaunch(std::move(relaunch))
{}

FeedUpdater::~FeedUpdater()
{
    if (!m_isChecking)
        return;
    *m_isCancelled = true;
    m_dialogs.close();
    // A new version that has not come up by now is not waited for: m_launch ends it, then m_exchange puts the
    // old one back.
}

void FeedUpdater::start(UpdaterDelegate &delegate)
{
    if (!m_source)
        throw UpdateError(Kind::Failed, u"updates.unavailable"_s);
    m_delegate = &delegate;
}

bool FeedUpdater::automaticallyChecksForUpdates() const
{
    return m_defaults.boolean(automaticKey).value_or(!m_source || m_source->checksAutomatically);
}

void FeedUpdater::setAutomaticallyChecksForUpdates(bool enabled)
{
    m_defaults.set(automaticKey, enabled);
    scheduleNext();
    Q_EMIT changed();
}

void FeedUpdater::setUpdateCheckInterval(std::chrono::seconds interval)
{
    m_interval = interval;
    scheduleNext();
}

void FeedUpdater::begin(bool isAskedFor)
{
    if (!canCheckForUpdates())
        return;
    m_isChecking = true;
    m_isVisible = isAskedFor;
    m_isCancelled = std::make_shared<std::atomic<bool>>(false);
    m_nextCheck.cancel();
    if (isAskedFor)
        m_dialogs.showChecking([this] { cancel(); });
    Q_EMIT changed();

    m_network = std::make_unique<QNetworkAccessManager>();
    // Even a failure at once ends the cycle after the call that began it.
    postToMain([self = QPointer(this), isCancelled = m_isCancelled] {
        if (self && !*isCancelled)
            self->attempt([&] { self->fetchFeed(); });
    });
}

void FeedUpdater::fetchFeed()
{
    const fs::path folder = CacheFolder::existing();
    m_feedFile = createNamelessFile(folder);
    m_download = std::make_unique<Download>(
        *m_network,
        // A check that the user asks for reports a missing connection; a computer that just woke up is
        // offline for a while.
        Download::Request{.address = m_source->feed,
                          .file = duplicateOf(m_feedFile, folder),
                          .path = folder,
                          .largestBytes = UpdateFeed::largestFeedBytes,
                          .isPatient = !m_isVisible},
        m_source->limits, [this](const std::optional<UpdateError> &failure) { readFeed(failure); });
}

void FeedUpdater::readFeed(const std::optional<UpdateError> &failure)
{
    if (failure) {
        end(failure);
        return;
    }
    attempt([this] { choose(UpdateFeed::read(contentOf(m_feedFile), m_source->key, m_source->feed)); });
}

void FeedUpdater::choose(const UpdateFeed &feed)
{
    // Who asks wants to hear of a version that he has skipped, too.
    const auto skipped = m_isVisible
                             ? QVersionNumber()
                             : QVersionNumber::fromString(m_defaults.string(skippedKey).value_or(QString()));
    m_release = feed.newest(m_source->installed, systemVersion(), skipped);
    if (!m_release)
        throw UpdateError(Kind::NoUpdate, u"Quorvalent est à jour"_s);
    requireOwnBundle();
    m_dialogs.showFound(*m_release, m_source->installed.toString(), [this](UpdateDialogs::Choice choice) {
        m_isVisible = true;
        if (choice == UpdateDialogs::Choice::Install) {
            attempt([this] { fetch(); });
            return;
        }
        if (choice == UpdateDialogs::Choice::Skip)
            m_defaults.set(skippedKey, m_release->version.toString());
        end(std::nullopt);
    });
}

void FeedUpdater::requireOwnBundle() const
{
    switch (ownerOf(m_source->bundle)) {
    case BundleOwner::User:
        return;
    case BundleOwner::PackageManager:
        throw UpdateError(Kind::NotAllowed,
                          u"Cette copie de Quorvalent est gérée par le gestionnaire de paquets du "
                          "système. Utilisez-le pour la mettre à jour."_s);
    case BundleOwner::SomeoneElse:
        throw UpdateError(Kind::NotAllowed,
                          u"Cette copie de Quorvalent ne peut pas être modifiée avec vos droits. "
                          "Demandez à la personne qui administre cet ordinateur de la mettre à jour."_s);
    }
}

void FeedUpdater::fetch()
{
    std::optional<BundleExchange> place = BundleExchange::begin(m_source->bundle);
    if (!place)
        throw installationFailed(); // another process is at it
    m_exchange = std::make_shared<BundleExchange>(std::move(*place));
    m_download =
        std::make_unique<Download>(*m_network,
                                   Download::Request{.address = m_release->archive,
                                                     .file = m_exchange->createArchive(),
                                                     .path = m_exchange->archive(),
                                                     .largestBytes = m_release->lengthBytes},
                                   m_source->limits, [this](const std::optional<UpdateError> &failure) {
                                       if (failure)
                                           end(failure);
                                       else
                                           prepare();
                                   });
    const auto show = [this](qint64 receivedBytes) {
        m_dialogs.showDownload(receivedBytes, m_release->lengthBytes, [this] { cancel(); });
    };
    connect(m_download.get(), &Download::progressed, this, show);
    show(0);
}

void FeedUpdater::prepare()
{
    m_dialogs.showPreparation([this] { cancel(); });
    m_isPreparing = true;
    const auto prepareThere = [self = QPointer(this), place = m_exchange, release = *m_release,
                               key = m_source->key, isCancelled = m_isCancelled]() mutable {
        auto outcome = prepared(*place, release, key, *isCancelled);
        place.reset();
        postToMain([self, outcome = std::move(outcome)] {
            if (self)
                self->endPreparation(outcome);
        });
    };
    try {
        postToBackground(prepareThere);
    } catch (const FileError &noThread) {
        endPreparation(UpdateError(UpdateError::Kind::Failed, noThread.errorDescription()));
    }
}

void FeedUpdater::endPreparation(const std::optional<UpdateError> &failure)
{
    m_isPreparing = false;
    if (*m_isCancelled)
        end(std::nullopt);
    else if (failure)
        end(failure);
    else
        offerInstallation();
}

void FeedUpdater::offerInstallation()
{
    m_dialogs.showReady(*m_release, [this](bool installNow) {
        if (!installNow) {
            end(std::nullopt);
            return;
        }
        const auto whenAllowed = [self = QPointer(this), isCancelled = m_isCancelled] {
            if (self && !*isCancelled)
                self->install();
        };
        if (m_delegate->shouldPostponeRelaunch(whenAllowed))
            m_dialogs.showWaiting([this] { cancel(); });
        else
            install();
    });
}

void FeedUpdater::install()
{
    attempt([this] {
        m_exchange->exchange();
        relaunch();
    });
}

void FeedUpdater::relaunch()
{
    m_dialogs.showRestarting();
    const std::vector<std::string> arguments = m_relaunch.prepare();
    const auto answer = [this](bool started) {
        if (!started) {
            undo(u"La nouvelle version n’a pas démarré. La version précédente a été rétablie."_s);
            return;
        }
        m_dialogs.close();
        m_exchange->commit();
        m_exchange.reset(); // takes the old bundle away
        m_relaunch.quit();
    };
    try {
        m_launch = std::make_unique<ProgramLaunch>(m_source->bundle / "bin/quorvalent", arguments,
                                                   m_source->startPatience, answer);
    } catch (const FileError &) {
        undo(u"La nouvelle version n’a pas démarré. La version précédente a été rétablie."_s);
    }
}

void FeedUpdater::undo(const QString &sentence)
{
    std::optional<UpdateError> outcome = UpdateError(Kind::Failed, sentence);
    try {
        m_exchange->undo();
    } catch (const FileError &failure) {
        outcome = UpdateError(Kind::Failed, failure.errorDescription());
    }
    m_relaunch.goOn();
    end(outcome);
}

void FeedUpdater::cancel()
{
    if (!m_isChecking)
        return;
    if (!m_isPreparing) {
        end(std::nullopt);
        return;
    }
    // The place beside the bundle is free again only when the background has left it.
    *m_isCancelled = true;
    m_dialogs.close();
}

void FeedUpdater::end(const std::optional<UpdateError> &outcome)
{
    *m_isCancelled = true;
    m_isChecking = false;
    m_download.reset();
    m_network.reset();
    m_feedFile.close();
    m_exchange.reset();
    m_launch.reset();
    show(outcome);
    scheduleNext();
    m_delegate->didFinishUpdateCycle(outcome);
    Q_EMIT changed();
}

void FeedUpdater::show(const std::optional<UpdateError> &outcome)
{
    if (!outcome || !m_isVisible)
        m_dialogs.close();
    else if (outcome->kind() == Kind::NoUpdate)
        m_dialogs.showUpToDate(m_source->installed.toString());
    else
        m_dialogs.showFailure(outcome->errorDescription());
}

void FeedUpdater::scheduleNext()
{
    m_nextCheck.cancel();
    if (!canCheckForUpdates() || !automaticallyChecksForUpdates())
        return;
    // Up to a tenth later, so that not everyone who starts to work at nine asks at the same moment.
    const auto jitter = m_interval * QRandomGenerator::global()->bounded(0.1);
    try {
        m_nextCheck = BootTimer(std::chrono::duration_cast<std::chrono::milliseconds>(m_interval + jitter),
                                [this] { checkForUpdatesInBackground(); });
    } catch (const FileError &) {
        return; // no descriptor is left; the next launch checks, and so may the user
    }
}

void FeedUpdater::attempt(const std::function<void()> &step)
{
    try {
        step();
    } catch (const UpdateError &error) {
        end(error);
    } catch (const Error &error) {
        end(UpdateError(Kind::Failed, error.errorDescription()));
    }
}

} // namespace quorvalent
