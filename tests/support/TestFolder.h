#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent::test {

/// A folder of one test's own, removed with everything in it at the end. Its name holds a space, a quote and
/// letters outside ASCII, because a user's does.
class TestFolder
{
public:
    TestFolder();
    ~TestFolder();
    TestFolder(const TestFolder &) = delete;
    TestFolder &operator=(const TestFolder &) = delete;

    [[nodiscard]] const std::filesystem::path &path() const { return m_path; }
    [[nodiscard]] std::filesystem::path operator/(const std::filesystem::path &name) const
    {
        return m_path / name;
    }

    /// Writes a file, with the folders it needs, and returns its path.
    std::filesystem::path write(const std::filesystem::path &name, const std::string &bytes) const;
    [[nodiscard]] std::string read(const std::filesystem::path &name) const;

    /// Every item below the folder, hidden ones too, relative to it, sorted; a folder ends with a slash.
    [[nodiscard]] std::vector<std::string> listing() const;

private:
    std::filesystem::path m_path;
};

} // namespace quorvalent::test
