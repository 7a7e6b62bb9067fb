#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace quorvalent {

/// The user's stored settings, one value a key. No operation fails: where a value cannot be stored, it holds
/// until the program ends. Lives on the thread that created it.
class UserDefaults
{
public:
    UserDefaults() = default;
    UserDefaults(const UserDefaults &) = delete;
    UserDefaults &operator=(const UserDefaults &) = delete;
    virtual ~UserDefaults() = default;

    /// Nothing when the key is absent or holds another type.
    [[nodiscard]] virtual std::optional<QString> string(const QString &key) const = 0;
    [[nodiscard]] virtual std::optional<QByteArray> data(const QString &key) const = 0;
    [[nodiscard]] virtual std::optional<bool> boolean(const QString &key) const = 0;

    /// Each change is on disk when its call returns.
    virtual void set(const QString &key, const QString &value) = 0;
    virtual void set(const QString &key, const QByteArray &value) = 0;
    virtual void set(const QString &key, bool value) = 0;
    virtual void remove(const QString &key) = 0;

    /// What is stored turned out to be damaged: it is kept aside before the next change overwrites it.
    virtual void keepDamaged() = 0;
};

} // namespace quorvalent
