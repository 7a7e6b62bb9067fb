#pragma once

#include "platform/UserDefaults.h"

#include <QMap>
#include <QSettings>
#include <QVariant>

namespace quorvalent {

/// User defaults in an INI file. Several processes may change different keys of one file at the same time
/// and none loses anything. A damaged file gives what can still be read; before the first change it is kept
/// beside the new one, as NAME.damaged-1 (or -2 …).
class SettingsFile : public UserDefaults
{
public:
    /// The settings of this user: quorvalent/quorvalent.conf in $XDG_CONFIG_HOME (else ~/.config).
    SettingsFile();
    explicit SettingsFile(const QString &file);

    [[nodiscard]] std::optional<QString> string(const QString &key) const override;
    [[nodiscard]] std::optional<QByteArray> data(const QString &key) const override;
    [[nodiscard]] std::optional<bool> boolean(const QString &key) const override;

    void set(const QString &key, const QString &value) override;
    void set(const QString &key, const QByteArray &value) override;
    void set(const QString &key, bool value) override;
    void remove(const QString &key) override;

    void keepDamaged() override { m_isDamaged = true; }

private:
    [[nodiscard]] QVariant value(const QString &key) const;
    void change(const QString &key, const QVariant &value);
    void writeWithTimeOfItsOwn();
    [[nodiscard]] bool keepAside();

    QSettings m_settings;
    QMap<QString, QVariant> m_held; ///< changes that must not reach the file yet; an invalid one removes
    bool m_isDamaged = false;
};

} // namespace quorvalent
