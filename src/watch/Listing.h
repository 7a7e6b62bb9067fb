#pragma once

#include "platform/FolderWalk.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace quorvalent {

/// A place in a watched tree.
struct NamedPlace
{
    std::string folder;
    std::string name;

    auto operator<=>(const NamedPlace &) const = default;
    [[nodiscard]] std::string path() const { return joined(folder, name); }
};

/// The regular files of the watched trees as they were last known, folder by folder, packed: 40 bytes a file
/// and its name. A value; one thread.
class Listing
{
public:
    /// Whether the folder has been read.
    [[nodiscard]] bool holds(const std::string &folder) const { return m_folders.contains(folder); }
    /// Null where nothing is known; valid until the next change. Takes time with the folder's size once,
    /// with its logarithm from then on.
    [[nodiscard]] const FoundFile *find(const std::string &folder, std::string_view name);
    /// The names that are known in a folder.
    [[nodiscard]] std::vector<std::string> namesIn(const std::string &folder) const;
    /// Every place where the file is known. Looks at all files.
    [[nodiscard]] std::vector<NamedPlace> placesOf(const FoundFile &file) const;
    [[nodiscard]] std::size_t count() const;

    void insert(FolderContents &&contents);
    void set(const NamedPlace &place, const FoundFile &file);
    void erase(const NamedPlace &place);
    void eraseTree(const std::string &folder);
    /// The folder and all below it have another path now.
    void moveTree(const std::string &from, const std::string &to);

private:
    struct Folder
    {
        std::vector<FoundFile> files;
        std::string names;
        std::uint32_t unusedBytes = 0; ///< of names that are gone
        bool isSorted = false;         ///< by name

        [[nodiscard]] std::string_view nameOf(const FoundFile &file) const
        {
            return std::string_view(names).substr(file.nameOffset, file.nameLength);
        }
        /// The first file whose name is not less.
        [[nodiscard]] std::vector<FoundFile>::iterator at(std::string_view name);
        void pack();
    };

    std::map<std::string, Folder> m_folders;
};

} // namespace quorvalent
