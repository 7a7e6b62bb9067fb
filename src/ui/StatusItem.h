#pragma once

#include "ui/icons/StatusIcon.h"

#include <QObject>
#include <QRect>
#include <QSystemTrayIcon>

#include <memory>

class QAction;
class QMenu;

namespace quorvalent {

class AppModel;

/// The program's icon in the desktop's status area, with its context menu. Made only where there is such an
/// area.
class StatusItem : public QObject
{
    Q_OBJECT

public:
    explicit StatusItem(AppModel &model, QObject *parent = nullptr);
    ~StatusItem() override;

    void refresh();

Q_SIGNALS:
    /// The user pressed it. `anchor` is the item's place on the screen, or the pointer's where the desktop
    /// does not tell it.
    void pressed(const QRect &anchor);
    void settingsWanted();
    void quitWanted();
    void warningDismissed();

private:
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    [[nodiscard]] QRect anchor() const;

    AppModel &m_model;
    std::unique_ptr<QMenu> m_menu;
    QAction *m_state;
    QAction *m_dismiss; ///< while a warning stands
    QAction *m_settings;
    QAction *m_pause;
    QAction *m_quit;
    QSystemTrayIcon m_icon;
    StatusState m_shown = StatusState::Idle;
};

} // namespace quorvalent
