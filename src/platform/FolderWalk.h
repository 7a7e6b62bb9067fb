#pragma once

#include "platform/Files.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvalent {

/// One regular file of a walk; folder and name are looked up in the FoundFiles that holds it.
struct FoundFile
{
    std::uint64_t device = 0; ///< as in FileAttributes
    std::uint64_t inode = 0;
    std::uint64_t sizeBytes = 0;
    FileTime modified;
    std::uint64_t nameOffset = 0;
    std::uint32_t folder = 0; ///< position in FoundFiles::folders
    std::uint16_t nameLength = 0;
};

/// The regular files of one or more trees, packed: hundreds of thousands are kept between two listings.
struct FoundFiles
{
    std::vector<FoundFile> files;                  ///< folder by folder
    std::vector<std::string> folders;              ///< paths, root included; only folders that hold files
    std::string names;                             ///< the files' names, one after another
    std::vector<std::filesystem::path> unreadable; ///< folders below the root that could not be read

    [[nodiscard]] std::string_view nameOf(const FoundFile &file) const
    {
        return std::string_view(names).substr(file.nameOffset, file.nameLength);
    }
    [[nodiscard]] std::filesystem::path pathOf(const FoundFile &file) const
    {
        return std::filesystem::path(folders[file.folder]) / nameOf(file);
    }
    void append(FoundFiles &&other);
};

/// Walks a folder with its subfolders. Hidden items are left out and packages not entered (FolderRules); the
/// root itself may be either. A root that is a link to a folder is followed, below it no link is, so there
/// are no loops. Other volumes mounted below the root are entered. Folders that vanish under the walk are no
/// error. Any thread.
namespace FolderWalk {

/// Throws FileError when the root cannot be read or is no folder. A file that is being renamed is found under
/// one of its two names, provided that the file system keeps its folders' times. Large trees are shared with
/// a second thread, which inherits the priority of the calling one.
[[nodiscard]] FoundFiles regularFiles(const std::filesystem::path &root);

/// Calls `enter` with the path of the root and of each folder below it, before the folder's own names are
/// read; an answer of false leaves its subfolders out. A folder or a root that cannot be read is left out
/// silently.
void folders(const std::filesystem::path &root, const std::function<bool(const std::string &path)> &enter);

} // namespace FolderWalk

} // namespace quorvalent
