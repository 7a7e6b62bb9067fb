#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace quorvalent {

/// Which watch of the kernel stands for which folder. A plain record; a part of EventStream.
class WatchTable
{
public:
    [[nodiscard]] bool holds(int watch) const { return m_folders.contains(watch); }
    /// The folder's path, or null for a watch that is not in the table.
    [[nodiscard]] const std::string *folderOf(int watch) const;
    [[nodiscard]] std::size_t size() const { return m_folders.size(); }
    /// The paths, in the order of their bytes.
    [[nodiscard]] std::vector<std::string> folders() const;

    void insert(const std::string &folder, int watch);
    void erase(int watch);
    /// Forgets the folder and all below it, and answers their watches.
    [[nodiscard]] std::vector<int> takeTree(const std::string &folder);
    /// The folder and all below it have another path now; what stood there before is forgotten. False when
    /// the folder is not in the table.
    [[nodiscard]] bool moveTree(const std::string &from, const std::string &to);

private:
    using ByFolder = std::map<std::string, int>;

    ByFolder m_watches;
    std::unordered_map<int, ByFolder::iterator> m_folders; ///< the paths are kept once, in m_watches
};

} // namespace quorvalent
