#include "ui/StatusItem.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"

#include <QCursor>
#include <QGuiApplication>
#include <QMenu>
#include <QScreen>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

StatusState stateOf(const AppModel &model)
{
    if (model.isConverting())
        return StatusState::Working;
    if (model.paused())
        return StatusState::Paused;
    return model.isFolderMissing() ? StatusState::Attention : StatusState::Idle;
}

} // namespace

StatusItem::StatusItem(AppModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
    , m_menu(std::make_unique<QMenu>())
    , m_state(m_menu->addAction(QString()))
    , m_icon(statusIcon(StatusState::Idle))
{
    m_state->setEnabled(false);
    m_dismiss = m_menu->addAction(QString(), this, &StatusItem::warningDismissed);
    m_menu->addSeparator();
    m_settings = m_menu->addAction(QString(), this, &StatusItem::settingsWanted);
    m_pause = m_menu->addAction(QString(), this, [this] { m_model.togglePause(); });
    m_menu->addSeparator();
    m_quit = m_menu->addAction(QString(), this, &StatusItem::quitWanted);
    m_icon.setContextMenu(m_menu.get());
    m_icon.setToolTip(u"Quorvalent"_s);
    connect(&m_icon, &QSystemTrayIcon::activated, this, &StatusItem::onActivated);
    connect(&model, &AppModel::changed, this, &StatusItem::refresh);
    refresh();
    m_icon.show();
}

StatusItem::~StatusItem() = default;

void StatusItem::refresh()
{
    const StatusState state = stateOf(m_model);
    if (state != m_shown) {
        m_shown = state;
        m_icon.setIcon(statusIcon(state));
    }
    m_state->setText(L(m_model.isConverting() ? m_model.progressTitle() : m_model.statusText()));
    m_dismiss->setVisible(m_model.warningCount() > 0);
    m_dismiss->setText(L(m_model.warningTitle()) + u" · "_s + L(u"Compris"_s));
    m_settings->setText(L(u"Réglages…"_s));
    m_pause->setText(L(m_model.pauseActionText()));
    m_quit->setText(L(u"Quitter"_s));
    m_quit->setEnabled(m_model.canQuit());
}

void StatusItem::onActivated(QSystemTrayIcon::ActivationReason reason)
{
    if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick)
        Q_EMIT pressed(anchor());
}

QRect StatusItem::anchor() const
{
    // An icon that is a window knows its place once a panel holds it; one on the bus never does.
    const QRect place = m_icon.geometry();
    if (!place.isEmpty() && place.topLeft() != QPoint(0, 0))
        return place;
    // Under Wayland the pointer is only known over windows of X11 programs.
    const bool knowsPointer = !qEnvironmentVariableIsSet("WAYLAND_DISPLAY");
    if (knowsPointer)
        return {QCursor::pos(), QSize(1, 1)};
    const QScreen *screen = QGuiApplication::primaryScreen();
    return screen == nullptr ? QRect() : QRect(screen->geometry().topRight(), QSize(1, 1));
}

} // namespace quorvalent
