#pragma once

#include <QString>

#include <optional>

namespace quorvalent {

/// The settings of another application, read and written by that application's rules. No operation throws.
class PreferencesDomain
{
public:
    PreferencesDomain() = default;
    PreferencesDomain(const PreferencesDomain &) = delete;
    PreferencesDomain &operator=(const PreferencesDomain &) = delete;
    virtual ~PreferencesDomain() = default;

    /// The value that the application would see now; nothing when it is absent or neither Boolean nor number.
    [[nodiscard]] virtual std::optional<bool> boolean(const QString &key) const = 0;
    /// Whether an administrator imposes the value, so that the user's is not heard.
    [[nodiscard]] virtual bool isForced(const QString &key) const = 0;
    /// Stores this one value and leaves all others alone. False when it could not be stored.
    [[nodiscard]] virtual bool set(const QString &key, bool value) = 0;
};

} // namespace quorvalent
