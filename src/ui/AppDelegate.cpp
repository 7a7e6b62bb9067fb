#include "ui/AppDelegate.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/ConsentDialog.h"
#include "ui/CornerPlacement.h"
#include "ui/Metrics.h"
#include "ui/TypeScale.h"
#include "ui/views/ProtectionWarning.h"
#include "update/UpdateManager.h"

#include <QAccessible>
#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QSessionManager>
#include <QTranslator>

#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr auto previewRun = 10s; // the banner converts, in a preview
constexpr auto previewEnd = 13s; // and the program ends
// Work that is over sooner is not worth asking the desktop to wait for; a termination signal waits for it.
constexpr auto shortWork = 2s;

} // namespace

LaunchOptions LaunchOptions::of(const QStringList &arguments)
{
    return {.settings = arguments.contains(u"--settings"_s),
            .paused = arguments.contains(u"--paused"_s),
            .previewBanner = arguments.contains(u"--preview-banner"_s)};
}

QStringList LaunchOptions::arguments() const
{
    QStringList list;
    if (settings)
        list << u"--settings"_s;
    if (paused)
        list << u"--paused"_s;
    if (previewBanner)
        list << u"--preview-banner"_s;
    return list;
}

bool LaunchOptions::wantsPreview(const QStringList &arguments)
{
    return arguments.contains(u"--preview"_s) || arguments.contains(u"--preview-banner"_s);
}

AppDelegate::AppDelegate(Services services, LaunchOptions options)
    : m_services(std::move(services))
    , m_options(options)
    , m_model(m_services.model)
    , m_systemFont(QApplication::font())
    , m_popover(m_model, {.settings = [this] { showSettings(); },
                          .quit = [this] { requestQuit(); },
                          .dismissWarning = [this] { dismissWarning(); },
                          .warningDetails = [this] { showDetails(); }})
    , m_toast(m_model, m_services.scheduler, [this] { return m_warningPanel && m_warningPanel->isVisible(); })
{
    applyLanguage();
    connect(&m_model, &AppModel::languageChanged, this, &AppDelegate::applyLanguage);
    connect(&m_trayHost, &TrayHost::ready, this, &AppDelegate::showStatusItem);
    connect(qApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            m_model.refreshFinderSetting();
        else
            m_popover.close(); // the session was locked, or another program came up without a press
    });
    connect(qApp, &QGuiApplication::commitDataRequest, this, &AppDelegate::onSessionEnd,
            Qt::DirectConnection);
}

AppDelegate::~AppDelegate()
{
    m_model.onToast = {};
    m_model.onFinished = {};
    m_model.onCancelled = {};
    m_model.onWarning = {};
    m_model.onDrained = {};
    m_model.onAppearance = {};
    m_model.askConsent = {};
}

void AppDelegate::connectModel()
{
    m_model.onToast = [this] { m_toast.schedule(); };
    m_model.onFinished = [this] { m_toast.finish(); };
    m_model.onCancelled = [this] { m_toast.clear(); };
    m_model.onWarning = [this] { showWarning(); };
    m_model.onDrained = [this] { m_services.updater.installWhenIdle(); };
    m_model.askConsent = [this](const ConsentQuestion &question) {
        return askConsent(m_settingsWindow.get(), question);
    };
    connect(&m_model, &AppModel::changed, this, &AppDelegate::onModelChange);
}

void AppDelegate::launch()
{
    m_model.onAppearance = [this](AppModel::Appearance choice) { m_services.appearance.setChoice(choice); };
    m_model.applyAppearance();
    connectModel();
    m_trayHost.start();
    if (m_options.paused)
        m_model.setPaused(true);
    m_model.start();
    m_services.updater.start();
    if (m_options.previewBanner)
        playPreviewBanner();
    else if (m_model.preferences().folders.empty() || m_model.preview() || m_options.settings)
        showSettings();
}

void AppDelegate::applyLanguage()
{
    const QString code = Localization::code();
    QApplication::setFont(applicationFont(m_systemFont, code));
    // What Qt's own dialogs say, in the languages that Qt speaks.
    m_dialogTexts = std::make_unique<QTranslator>();
    if (m_dialogTexts->load(QLocale(code), u"qtbase"_s, u"_"_s,
                            QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(m_dialogTexts.get());
}

void AppDelegate::showStatusItem()
{
    m_statusItem = std::make_unique<StatusItem>(m_model);
    connect(m_statusItem.get(), &StatusItem::pressed, this, &AppDelegate::toggleMenu);
    connect(m_statusItem.get(), &StatusItem::settingsWanted, this, &AppDelegate::showSettings);
    connect(m_statusItem.get(), &StatusItem::warningDismissed, this, &AppDelegate::dismissWarning);
    connect(m_statusItem.get(), &StatusItem::quitWanted, this, &AppDelegate::requestQuit);
    if (m_settingsWindow)
        m_settingsWindow->refresh();
}

void AppDelegate::toggleMenu(const QRect &item)
{
    m_popover.toggle(item);
}

void AppDelegate::showSettings()
{
    m_popover.close();
    m_model.refreshFinderSetting();
    if (!m_settingsWindow) {
        m_settingsWindow = std::make_unique<SettingsWindow>(
            m_model, SettingsView::Services{m_services.updater, m_services.chooseFolders,
                                            [this] { return m_trayHost.isReady(); }});
    }
    m_settingsWindow->bringUp();
    seeActivity(true);
}

void AppDelegate::showWarning()
{
    m_toast.clear();
    if (!m_warningPanel) {
        auto *content = new ProtectionWarning(
            m_model, {.dismiss = [this] { dismissWarning(); }, .details = [this] { showDetails(); }});
        m_warningPanel =
            std::make_unique<FloatingCard>(FloatingCard::Kind::Warning, content, metrics::warningRadius);
    }
    m_warningPanel->fit();
    showInCorner(*m_warningPanel);
    QAccessibleEvent alert(&m_warningPanel->content(), QAccessible::Alert);
    QAccessible::updateAccessibility(&alert);
}

void AppDelegate::dismissWarning()
{
    if (m_warningPanel)
        m_warningPanel->hide();
    m_model.clearWarnings();
    if (m_model.isConverting())
        m_toast.show();
}

void AppDelegate::showDetails()
{
    dismissWarning();
    m_model.setSelectedTab(u"Activité"_s);
    showSettings();
}

void AppDelegate::requestQuit()
{
    if (m_model.canQuit())
        m_services.quit();
}

LaunchOptions AppDelegate::present() const
{
    return {.settings = m_settingsWindow && m_settingsWindow->isVisible(), .paused = m_model.paused()};
}

void AppDelegate::finishAndQuit()
{
    if (m_isEnding) {
        static_cast<void>(m_model.dropWaitingJobs()); // their files keep the names they were given
        m_model.stopConversionsSoon();
    }
    m_isEnding = true;
    m_model.prepareToEnd();
    requestQuit();
}

void AppDelegate::seeActivity(bool isOpened)
{
    const bool isSeen =
        m_settingsWindow && m_settingsWindow->isVisible() && m_model.selectedTab() == u"Activité"_s;
    const bool sawIt = std::exchange(m_seesActivity, isSeen);
    if (isSeen && (isOpened || !sawIt) && m_model.warningCount() > 0)
        dismissWarning();
}

void AppDelegate::onModelChange()
{
    seeActivity(false);
    if (!m_model.isIdle()) {
        if (!m_sessionHold)
            m_sessionHold = m_services.scheduler(shortWork, [this] { m_services.holdSession(true); });
        return;
    }
    if (std::exchange(m_sessionHold, nullptr))
        m_services.holdSession(false);
    if (m_isEnding)
        m_services.quit();
}

void AppDelegate::onSessionEnd(QSessionManager &session)
{
    session.setRestartHint(QSessionManager::RestartNever); // the login item starts the program
    if (!m_model.canQuit() && session.allowsInteraction()) {
        session.cancel();
        session.release();
    }
}

void AppDelegate::playPreviewBanner()
{
    const QString name = u"Vacances-sur-la-côte.mp4"_s;
    const QString detail = u"MOV → MP4"_s;
    ConversionStatus sample;
    sample.isConverting = true;
    sample.progress = 0.42;
    sample.currentName = name;
    sample.currentDetail = detail;
    m_model.showSample(sample);
    m_toast.show();
    m_previewTasks.push_back(m_services.scheduler(previewRun, [this, sample]() mutable {
        sample.isConverting = false;
        sample.progress = 1.0;
        m_model.showSample(sample);
        m_toast.finish();
    }));
    m_previewTasks.push_back(m_services.scheduler(previewEnd, [this] { m_services.quit(); }));
}

} // namespace quorvalent
