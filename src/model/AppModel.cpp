#include "model/AppModel.h"

#include "core/ConversionError.h"
#include "core/RenamePolicy.h"
#include "core/WatchedFolders.h"
#include "model/FinderPreferences.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <QPointer>

#include <algorithm>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

const QString loginEnabled = u"Activé dans macOS"_s;

const QString languageKey = u"language"_s;
const QString appearanceKey = u"appearance"_s;
const QString preferencesKey = u"preferences"_s;
const QString undoMinutesKey = u"undoMinutes"_s;
const QString settingsPlaceKey = u"settingsWindow"_s;
const QString loginConfiguredKey = u"loginConfigured"_s;
const QString finderConsentKey = u"finderWarningConsent"_s;

// The program ends within five seconds of such a wish, and a stopped conversion takes one to clear up.
constexpr std::chrono::seconds untilConversionsStop(3);

constexpr std::chrono::minutes untilExpiryIsTriedAgain(1);
// In which the removal of a folder can be undone.
constexpr auto removalSpan = std::chrono::seconds(10);

constexpr int mostUndoMinutes = 24 * 60;

/// The choice of a language or an appearance that is the session's.
const QString followSystem = u"system"_s;

void call(const std::function<void()> &callback)
{
    if (callback)
        callback();
}

Preferences storedPreferences(UserDefaults &defaults)
{
    Preferences preferences;
    if (const std::optional<QByteArray> stored = defaults.data(preferencesKey)) {
        if (std::optional<Preferences> decoded = Preferences::decoded(*stored))
            preferences = *std::move(decoded);
        else
            defaults.keepDamaged();
    }
    bool isNumber = false;
    const int minutes = defaults.string(undoMinutesKey).value_or(QString()).toInt(&isNumber);
    if (isNumber && minutes >= 0 && minutes <= mostUndoMinutes)
        preferences.undoSpan = std::chrono::minutes(minutes);
    return preferences;
}

std::optional<QRect> storedPlace(const UserDefaults &defaults)
{
    std::vector<int> numbers;
    for (const QString &part : defaults.string(settingsPlaceKey).value_or(QString()).split(u' ')) {
        bool isNumber = false;
        numbers.push_back(part.toInt(&isNumber));
        if (!isNumber)
            return {};
    }
    if (numbers.size() != 4 || numbers[2] <= 0 || numbers[3] <= 0)
        return {};
    return QRect(numbers[0], numbers[1], numbers[2], numbers[3]);
}

QString messageOfMissing(const std::filesystem::path &folder)
{
    return composed(u"Dossier inaccessible : {0}"_s, {displayText(folder)});
}

QString loginText(LoginItem::Status status)
{
    switch (status) {
    case LoginItem::Status::Enabled:
        return loginEnabled;
    case LoginItem::Status::RequiresApproval:
        return u"À autoriser dans Réglages Système → Général → Ouverture"_s;
    case LoginItem::Status::NotRegistered:
        break;
    }
    return u"Non activé dans macOS. Installez l’app dans Applications, puis activez ce réglage."_s;
}

} // namespace

AppModel::AppModel(ModelServices services, DesktopServices desktop, Mode mode)
    : m_services(std::move(services))
    , m_desktop(std::move(desktop))
    , m_mode(mode)
    , m_localeObserver([this] { announceLanguage(); })
    , m_language(m_desktop.defaults->string(languageKey).value_or(followSystem))
    , m_appearance(m_desktop.defaults->string(appearanceKey).value_or(followSystem))
    , m_preferences(storedPreferences(*m_desktop.defaults))
    , m_selectedTab(u"Général"_s)
    , m_settingsPlace(storedPlace(*m_desktop.defaults))
    , m_queue(m_services, [this] { return m_preferences; })
{
    announceQueue();
    m_desktop.setLanguage(m_language);
}

AppModel::AppModel(Preferences preferences, ModelServices services)
    : AppModel(std::move(services), noDesktop(), Mode::Normal)
{
    m_preferences = std::move(preferences);
}

AppModel::~AppModel() = default;

void AppModel::setPaused(bool paused)
{
    m_paused = paused;
    Q_EMIT changed();
}

void AppModel::setInstallingUpdate(bool installing)
{
    m_installingUpdate = installing;
    Q_EMIT changed();
}

void AppModel::stopConversionsSoon()
{
    m_services.later(untilConversionsStop, m_services.stopConversions);
}

void AppModel::togglePause()
{
    setPaused(!m_paused);
    restartWatcher();
}

void AppModel::prepareForUpdate()
{
    setInstallingUpdate(true);
    startWatcher();
}

void AppModel::prepareToEnd()
{
    m_isEnding = true;
    Q_EMIT changed();
    startWatcher();
}

void AppModel::start()
{
    if (preview())
        return;
    const QPointer self(this);
    JobSourceHandlers handlers;
    handlers.onRename = [self](const RenameJob &job) {
        postToMain([self, job] {
            if (self)
                self->enqueue(job);
        });
    };
    handlers.onProblem = [self](const QString &message) {
        postToMain([self, message] {
            if (self)
                self->reportProblem(message);
        });
    };
    handlers.onMoved = [self](const QString &identity, const std::optional<std::filesystem::path> &place) {
        postToMain([self, identity, place] {
            if (self)
                self->m_queue.follow(identity, place);
        });
    };
    handlers.onInterruption = [self](const InterruptedConversion &conversion) {
        postToMain([self, conversion] {
            if (self)
                self->tellInterruption(conversion);
        });
    };
    m_watcher = m_services.makeWatcher(std::move(handlers));
    m_queue.setWatcher(m_watcher);
    refreshFinderSetting();
    restartWatcher();
    expireOriginals();
    configureLoginOnce();
}

void AppModel::setUndoSpan(std::chrono::minutes span)
{
    changePreferences([span](Preferences &preferences) { preferences.undoSpan = span; });
    expireOriginals(span);
}

void AppModel::expireOriginals(std::optional<std::chrono::minutes> most)
{
    if (preview())
        return;
    try {
        m_services.inBackground([self = QPointer(this), most, expire = m_services.expireOriginals] {
            const std::optional<std::chrono::seconds> next = expire(most);
            postToMain([self, next] {
                if (self)
                    self->scheduleExpiry(next);
            });
        });
    } catch (const Error &) {
        m_expiry = DelayedTask(untilExpiryIsTriedAgain, [this, most] { expireOriginals(most); });
    }
}

// One timer, and only while something is kept.
void AppModel::scheduleExpiry(std::optional<std::chrono::seconds> next)
{
    if (next)
        m_expiry = DelayedTask(*next, [this] { expireOriginals(); });
    else
        m_expiry.cancel();
    Q_EMIT changed();
}

void AppModel::tellInterruption(const InterruptedConversion &conversion)
{
    m_queue.addInterruption(conversion);
    Q_EMIT watchProblem(conversion.sentence);
    call(onWarning);
}

void AppModel::restartWatcher()
{
    m_watchMessage.clear();
    Q_EMIT changed();
    startWatcher();
}

void AppModel::startWatcher()
{
    if (!m_watcher)
        return;

    observePresence();
    const std::uint64_t run = ++m_watchRun;
    m_isReading = !refusesJobs();
    Q_EMIT changed();
    if (refusesJobs()) {
        m_watcher->start({}, {});
        return;
    }
    m_watcher->start(m_preferences.folders, [self = QPointer(this), run, folders = m_preferences.folders] {
        postToMain([self, run, folders] {
            if (self && self->m_watchRun == run)
                self->finishReading(folders);
        });
    });
}

void AppModel::finishReading(const std::vector<std::filesystem::path> &folders)
{
    m_isReading = false;
    Q_EMIT changed();
    Q_EMIT watchingStarted(folders);
}

void AppModel::observePresence()
{
    m_presence.reset();
    setMissing({});
    if (refusesJobs() || m_preferences.folders.empty())
        return;
    m_presence = m_services.observePresence(
        m_preferences.folders,
        [this](const std::vector<std::filesystem::path> &missing) { setMissing(missing); });
}

void AppModel::setMissing(const std::vector<std::filesystem::path> &missing)
{
    const auto former = std::exchange(m_missing, missing);
    if (former == missing)
        return;
    // What the watcher said of a folder that is back is no longer true.
    for (const std::filesystem::path &folder : former) {
        if (!isMissing(folder) && m_watchMessage == messageOfMissing(folder))
            m_watchMessage.clear();
    }
    Q_EMIT changed();
}

bool AppModel::isMissing(const std::filesystem::path &folder) const
{
    return std::ranges::find(m_missing, folder) != m_missing.end();
}

void AppModel::reportProblem(const QString &message)
{
    m_watchMessage = message;
    Q_EMIT changed();
    Q_EMIT watchProblem(message);
}

void AppModel::announceQueue()
{
    connect(&m_queue, &JobQueue::changed, this, &AppModel::changed);
    connect(&m_queue, &JobQueue::accepted, this, &AppModel::jobAccepted);
    connect(&m_queue, &JobQueue::dropped, this, &AppModel::jobDropped);
    connect(&m_queue, &JobQueue::progressed, this, &AppModel::jobProgressed);
    connect(&m_queue, &JobQueue::started, this, [this](const RenameJob &job) {
        Q_EMIT jobStarted(job);
        if (!RenameProtection::reason(job))
            call(onToast);
    });
    connect(&m_queue, &JobQueue::finished, this, [this](const RenameJob &job, const JobOutcome &outcome) {
        Q_EMIT jobFinished(job, outcome);
        if (outcome.isCancelled)
            call(onCancelled);
        else
            call(outcome.succeeded() ? onFinished : onWarning);
        if (outcome.canBeTakenBack && !m_expiry.isPending())
            expireOriginals();
    });
    connect(&m_queue, &JobQueue::drained, this, [this] { call(onDrained); });
}

void AppModel::enqueue(const RenameJob &job)
{
    if (refusesJobs())
        m_queue.release(job);
    else
        m_queue.add(job);
}

QString AppModel::statusText() const
{
    if (m_paused)
        return u"En pause"_s;
    if (m_missing.size() == 1)
        return messageOfMissing(m_missing.front());
    if (!m_missing.empty())
        return composed(u"Dossiers inaccessibles : {0}"_s, {QString::number(m_missing.size())});
    if (m_preferences.folders.empty())
        return u"Ajoutez un dossier pour commencer"_s;
    return m_isReading ? u"Lecture des dossiers en cours"_s : u"À l’écoute des changements d’extension"_s;
}

QString AppModel::queuedText() const
{
    return queued() == 0 ? QString() : composed(u"{0} en attente"_s, {QString::number(queued())});
}

QString AppModel::pauseActionText() const
{
    return m_paused ? u"Reprendre"_s : u"Pause"_s;
}

QString AppModel::loginMessage() const
{
    return m_loginFailure.isEmpty() ? m_loginMessage
                                    : composed(u"macOS : {0}"_s, {m_desktop.translate(m_loginFailure)});
}

QString AppModel::loginNotice() const
{
    const QString message = loginMessage();
    return message == loginEnabled ? QString() : message;
}

void AppModel::setLanguage(const QString &language)
{
    m_language = language;
    if (!preview())
        m_desktop.defaults->set(languageKey, language);
    m_desktop.setLanguage(language);
    announceLanguage();
}

void AppModel::setSettingsPlace(const QRect &place)
{
    if (m_settingsPlace == place)
        return;
    m_settingsPlace = place;
    if (!preview()) {
        m_desktop.defaults->set(
            settingsPlaceKey,
            u"%1 %2 %3 %4"_s.arg(place.x()).arg(place.y()).arg(place.width()).arg(place.height()));
    }
}

void AppModel::announceLanguage()
{
    Q_EMIT languageChanged();
    Q_EMIT changed();
}

void AppModel::setAppearance(const QString &appearance)
{
    m_appearance = appearance;
    if (!preview())
        m_desktop.defaults->set(appearanceKey, appearance);
    applyAppearance();
    Q_EMIT changed();
}

void AppModel::applyAppearance() const
{
    if (!onAppearance)
        return;
    if (m_appearance == u"light"_s)
        onAppearance(Appearance::Light);
    else if (m_appearance == u"dark"_s)
        onAppearance(Appearance::Dark);
    else
        onAppearance(Appearance::System);
}

void AppModel::setSelectedTab(const QString &name)
{
    m_selectedTab = name;
    Q_EMIT changed();
}

void AppModel::setPreferences(Preferences preferences)
{
    m_preferences = std::move(preferences);
    save();
    Q_EMIT changed();
}

void AppModel::changePreferences(const std::function<void(Preferences &)> &change)
{
    Preferences preferences = m_preferences;
    change(preferences);
    setPreferences(std::move(preferences));
}

void AppModel::save()
{
    if (preview())
        return;
    if (const std::optional<QByteArray> encoded = m_preferences.encoded())
        m_desktop.defaults->set(preferencesKey, *encoded);
    const QString minutes = QString::number(m_preferences.undoSpan.count());
    if (m_preferences.undoSpan != Preferences().undoSpan || m_desktop.defaults->string(undoMinutesKey))
        m_desktop.defaults->set(undoMinutesKey, minutes);
}

void AppModel::addFolders(const std::vector<std::filesystem::path> &chosen)
{
    changePreferences([&chosen](Preferences &preferences) {
        for (const std::filesystem::path &folder : chosen)
            preferences.folders =
                WatchedFolders::adding(std::move(preferences.folders), WatchedFolders::resolved(folder));
    });
    restartWatcher();
}

void AppModel::removeFolder(const std::filesystem::path &folder)
{
    m_foldersBefore = m_preferences.folders;
    m_removedFolder = folder;
    m_removalEnd = DelayedTask(removalSpan, [this] {
        m_removedFolder.reset();
        Q_EMIT changed();
    });
    changePreferences([&folder](Preferences &preferences) {
        preferences.folders = WatchedFolders::removing(std::move(preferences.folders), folder);
    });
    restartWatcher();
}

void AppModel::restoreFolder()
{
    m_removalEnd.cancel();
    const auto folder = std::exchange(m_removedFolder, std::nullopt);
    if (!folder)
        return;
    if (WatchedFolders::removing(m_foldersBefore, *folder) != m_preferences.folders) {
        addFolders({*folder}); // the list has changed since
        return;
    }
    changePreferences([this](Preferences &preferences) { preferences.folders = m_foldersBefore; });
    restartWatcher();
}

void AppModel::setLaunchAtLogin(bool launch)
{
    changePreferences([launch](Preferences &preferences) { preferences.launchAtLogin = launch; });
    configureLogin();
}

void AppModel::configureLoginOnce()
{
    const bool isFirstStart = !m_desktop.defaults->boolean(loginConfiguredKey).value_or(false);
    // An entry that the user switched off in the desktop's settings outlives our own settings.
    if (isFirstStart && m_desktop.loginItem->status() != LoginItem::Status::RequiresApproval)
        configureLogin();
    else
        updateLoginStatus();
    if (isFirstStart)
        m_desktop.defaults->set(loginConfiguredKey, true);
}

void AppModel::configureLogin()
{
    if (preview())
        return;
    try {
        if (m_preferences.launchAtLogin)
            m_desktop.loginItem->enable();
        else
            m_desktop.loginItem->disable();
    } catch (const Error &error) {
        m_loginFailure = error.errorDescription();
        Q_EMIT changed();
        return;
    }
    updateLoginStatus();
}

void AppModel::updateLoginStatus()
{
    if (preview())
        return;
    m_loginFailure.clear();
    m_loginMessage = loginText(m_desktop.loginItem->status());
    Q_EMIT changed();
}

void AppModel::refreshFinderSetting()
{
    if (preview() || !hasFinderSetting())
        return;
    const FinderPreferences finder(*m_desktop.fileManager);
    m_renameWithoutConfirmation = !finder.warningEnabled();
    m_finderSettingManaged = finder.managed();
    Q_EMIT changed();
}

void AppModel::setRenameWithoutConfirmation(bool enabled)
{
    if (preview()) {
        m_renameWithoutConfirmation = enabled;
        Q_EMIT changed();
    } else if (hasFinderSetting()) {
        if (!enabled || hasFinderConsent())
            switchFinderWarning(!enabled);
        refreshFinderSetting();
    }
}

bool AppModel::hasFinderConsent() const
{
    if (m_desktop.defaults->boolean(finderConsentKey).value_or(false))
        return true;
    const ConsentQuestion question{
        u"Renommer sans confirmation du Finder ?"_s,
        u"Ce réglage désactive l’avertissement pour TOUS les fichiers du Finder. Quorvalent protège "
        u"uniquement les dossiers surveillés, lorsque l’app est ouverte et la surveillance active. Hors de "
        u"ces dossiers, renommer une extension ne convertit pas le contenu. Vous pouvez rétablir "
        u"l’avertissement ici à tout moment."_s,
        u"Désactiver l’avertissement"_s, u"Annuler"_s};
    return askConsent && askConsent(question);
}

void AppModel::switchFinderWarning(bool enabled)
{
    try {
        FinderPreferences(*m_desktop.fileManager).setWarningEnabled(enabled);
        if (!enabled)
            m_desktop.defaults->set(finderConsentKey, true);
        m_finderSettingMessage = u"Réglage enregistré. Si le Finder conserve l’ancien comportement, "
                                 u"relancez-le ou modifiez l’option dans ses réglages avancés."_s;
    } catch (const Error &error) {
        m_finderSettingMessage = error.errorDescription();
    }
}

void AppModel::openHelp() const
{
    const QString folder = u"Help"_s;
    std::optional<std::filesystem::path> page =
        m_desktop.resource(m_desktop.languageCode() + u".html"_s, folder);
    if (!page)
        page = m_desktop.resource(u"en.html"_s, folder);
    if (page)
        m_desktop.openFile(*page);
}

void AppModel::openLicense(const QString &name, const QString &subdirectory) const
{
    if (const std::optional<std::filesystem::path> text = m_desktop.resource(name, subdirectory))
        m_desktop.openFile(*text);
}

} // namespace quorvalent
