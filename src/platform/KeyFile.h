#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// The lines of a key file as desktops write them: groups of KEY=VALUE. What is not changed stays byte for
/// byte as it was, comments and lines that make no sense included. A plain value.
class KeyFile
{
public:
    explicit KeyFile(const std::string &text = {});

    /// A missing file is an empty one. Throws FileError when there is one that cannot be read.
    [[nodiscard]] static KeyFile read(const std::filesystem::path &file);
    /// Replaces the file in one step, or leaves it as it was and throws FileError. Creates its folders.
    void write(const std::filesystem::path &file) const;

    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool hasGroup(const std::string &group) const;
    /// As it stands in the file, without the blanks around it; the last one where a key stands twice.
    [[nodiscard]] std::optional<std::string> value(const std::string &group, const std::string &key) const;
    void setValue(const std::string &group, const std::string &key, const std::string &value);
    void removeValue(const std::string &group, const std::string &key);

private:
    struct Place
    {
        std::optional<std::size_t> line; ///< of the key
        std::size_t end;                 ///< behind the group's last line that is not empty
        bool hasGroup;
    };
    [[nodiscard]] Place find(const std::string &group, const std::string &key) const;

    std::vector<std::string> m_lines;
};

} // namespace quorvalent
