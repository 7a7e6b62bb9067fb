#pragma once

#include "platform/PreferencesDomain.h"

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent {

/// A domain in key files: the user's under $XDG_CONFIG_HOME; a value that an administrator put into the file
/// of the same name under $XDG_CONFIG_DIRS is forced and wins.
class KeyFileDomain : public PreferencesDomain
{
public:
    /// `name` is relative to the folders of settings, "files/preferences.conf" for instance.
    KeyFileDomain(const std::filesystem::path &name, std::string group);

    [[nodiscard]] std::optional<bool> boolean(const QString &key) const override;
    [[nodiscard]] bool isForced(const QString &key) const override;
    [[nodiscard]] bool set(const QString &key, bool value) override;

private:
    [[nodiscard]] std::optional<std::string> forced(const QString &key) const;

    std::filesystem::path m_file;
    std::vector<std::filesystem::path> m_imposing; ///< the most important first
    std::string m_group;
};

} // namespace quorvalent
