#pragma once

#include <QObject>
#include <QString>

namespace quorvalent {

/// What the windows need of the update manager. Main thread.
class UpdateControl : public QObject
{
    Q_OBJECT

public:
    [[nodiscard]] virtual bool canCheck() const = 0;   ///< the user can ask for a check now
    [[nodiscard]] virtual bool automatic() const = 0;  ///< the program checks by itself
    [[nodiscard]] virtual QString message() const = 0; ///< key of the text on the state of the last check
    virtual void start() = 0;
    virtual void check() = 0;
    virtual void setAutomatic(bool enabled) = 0;

Q_SIGNALS:
    void changed();
};

/// Of a build that knows no place to get updates from: it cannot be started.
class NoUpdates : public UpdateControl
{
    Q_OBJECT

public:
    [[nodiscard]] bool canCheck() const override { return false; }
    [[nodiscard]] bool automatic() const override { return false; }
    [[nodiscard]] QString message() const override { return QStringLiteral("updates.unavailable"); }
    void start() override {}
    void check() override {}
    void setAutomatic(bool /*enabled*/) override { Q_EMIT changed(); }
};

} // namespace quorvalent
