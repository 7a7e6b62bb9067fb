#pragma once

#include "platform/X11Desktop.h"

#include <QObject>

#include <memory>

namespace quorvalent {

/// Waits, asleep, until the desktop shows status items: a host on the session bus, or a panel that takes
/// icons as windows. Qt settles once in a process's life which of them it uses, so nothing of its status icon
/// may be made before; at the start of a session the panel often comes later than this program.
class TrayHost : public QObject
{
    Q_OBJECT

public:
    explicit TrayHost(QObject *parent = nullptr);

    /// Asks once, without waiting for the answer, and listens from then on.
    void start();
    [[nodiscard]] bool isReady() const { return m_ready; }

Q_SIGNALS:
    /// Once.
    void ready();

private:
    Q_SLOT void askBus();
    Q_SLOT void setReady();

    std::unique_ptr<X11Desktop::TrayWatch> m_windows;
    bool m_ready = false;
};

} // namespace quorvalent
