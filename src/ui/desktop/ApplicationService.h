#pragma once

#include <QDBusAbstractAdaptor>
#include <QVariantMap>

#include <functional>

namespace quorvalent {

/// The program's name on the session bus, by which one copy runs and a second launch, or the desktop's
/// launcher, speaks to it (org.freedesktop.Application).
class ApplicationService : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    struct Actions
    {
        std::function<void()> activate;
        std::function<void()> settings;
        std::function<void()> togglePause;
        std::function<void()> quit;
    };

    enum class Claim {
        First,   ///< this process is the program
        Running, ///< another copy is, and has been activated
        NoBus,   ///< nobody can know
    };

    /// The bus name, which is also the name of the launcher's entry.
    [[nodiscard]] static QString name();

    ApplicationService(Actions actions, QObject *parent);
    /// Takes the name, or activates the copy that has it.
    [[nodiscard]] Claim claim();
    /// Makes way for another copy; claim() takes the name back.
    void release();

    Q_SLOT void Activate(const QVariantMap &platformData); // NOLINT: the interface's names
    Q_SLOT void Open(const QStringList &uris, const QVariantMap &platformData);      // NOLINT
    Q_SLOT void ActivateAction(const QString &action, const QVariantList &parameter, // NOLINT
                               const QVariantMap &platformData);

private:
    Actions m_actions;
};

} // namespace quorvalent
