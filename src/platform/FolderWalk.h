#pragma once

#include "platform/Files.h"

#include <chrono>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quorvalent {

/// One regular file of a folder; its name is looked up in the FolderContents or Listing that holds it.
struct FoundFile
{
    std::uint64_t device = 0; ///< as in FileAttributes
    std::uint64_t inode = 0;
    std::uint64_t sizeBytes = 0;
    FileTime modified;
    std::uint32_t nameOffset = 0;
    std::uint16_t nameLength = 0;
    bool hasOtherNames = false; ///< its link count is above one
    bool isFresh = false;       ///< it was created, written or renamed within `freshSpan` before the look

    [[nodiscard]] bool isSameFile(const FoundFile &other) const
    {
        return inode == other.inode && device == other.device;
    }
    [[nodiscard]] bool hasSameContent(const FoundFile &other) const
    {
        return sizeBytes == other.sizeBytes && modified == other.modified;
    }
};

/// What one reading found in a folder. Hidden items are left out (FolderRules).
struct FolderContents
{
    std::string path;
    std::vector<FoundFile> files;
    std::string names;                ///< the files' names, one after another
    std::vector<std::string> unknown; ///< names of items whose attributes could not be read
    std::vector<std::string> sought;  ///< names of hidden items that were sought

    [[nodiscard]] std::string_view nameOf(const FoundFile &file) const
    {
        return std::string_view(names).substr(file.nameOffset, file.nameLength);
    }
};

/// What a look at one path found.
struct FileLook
{
    enum class Result {
        File,    ///< a regular file
        Nothing, ///< no such item, or another kind of item
        Unknown  ///< the system did not tell
    };
    Result result = Result::Nothing;
    FoundFile file;   ///< without name
    FileTime changed; ///< when attributes, name or content last changed, as far as the file system keeps it
};

/// Looks without following a link; asks the server of a network volume anew.
[[nodiscard]] FileLook lookAt(const std::string &folder, std::string_view name);

/// Whether an errno value says that no item of the kind asked for is there.
[[nodiscard]] bool isVanished(int failure);

/// The path of an item in a folder.
[[nodiscard]] std::string joined(const std::string &folder, std::string_view name);

/// Reads trees folder by folder, in portions, so that its thread can do other work in between. Hidden folders
/// and packages are not entered (FolderRules); the top of a tree may be either. Below a root no link is
/// followed, so there are no loops; volumes mounted below it are entered. One thread, which large portions
/// are shared out from.
class TreeReader
{
public:
    enum class Place { Root, Top, Inside }; ///< of a folder in the tree that is being read

    struct Folder
    {
        FolderContents contents;
        Place place = Place::Inside;
        int watch = -1;  ///< what `enter` answered
        int failure = 0; ///< errno value of a folder that could not be read
    };

    /// Called for each folder before its names are read, from two threads at once; a folder without an
    /// answer is left out with everything in it.
    using Enter = std::function<std::optional<int>(const std::string &path, Place place)>;

    /// Whether a hidden item of this name is to be told; called from two threads at once.
    using IsSought = std::function<bool(std::string_view name)>;

    /// Attribute changes within this span before the reading make a file fresh.
    TreeReader(Enter enter, std::chrono::milliseconds freshSpan, IsSought isSought = {});

    void add(std::string path, Place place);
    [[nodiscard]] bool isBusy() const { return !m_pending.empty(); }
    /// Reads for about this long and hands each folder over, on the calling thread.
    void step(std::chrono::milliseconds budget, const std::function<void(Folder &&)> &take);

private:
    struct Pending
    {
        std::string path;
        Place place = Place::Inside;
    };

    Enter m_enter;
    std::chrono::milliseconds m_freshSpan;
    IsSought m_isSought;
    std::deque<Pending> m_pending;

    friend class FolderCollector;
};

} // namespace quorvalent
