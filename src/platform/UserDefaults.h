#pragma once

#include <QByteArray>
#include <QSettings>
#include <QString>

#include <optional>

namespace quorvalent {

/// The user's stored settings, one value a key. Every change is on disk when its call returns; where the file
/// cannot be written, the value holds until the program ends. Lives on the thread that created it.
class UserDefaults
{
public:
    /// The settings of this user: quorvalent/quorvalent.conf in $XDG_CONFIG_HOME (else ~/.config).
    UserDefaults();
    /// The settings in an INI file of the caller's choice.
    explicit UserDefaults(const QString &file);

    /// Nothing when the key is absent or holds another type.
    [[nodiscard]] std::optional<QString> string(const QString &key) const;
    [[nodiscard]] std::optional<QByteArray> data(const QString &key) const;
    [[nodiscard]] std::optional<bool> boolean(const QString &key) const;

    void set(const QString &key, const QString &value);
    void set(const QString &key, const QByteArray &value);
    void set(const QString &key, bool value);
    void remove(const QString &key);

private:
    void store(const QString &key, const QVariant &value);

    QSettings m_settings;
};

} // namespace quorvalent
