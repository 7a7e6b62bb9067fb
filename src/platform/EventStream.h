#pragma once

#include "platform/Dispatch.h"
#include "platform/FolderWalk.h"
#include "platform/Inotify.h"
#include "platform/RootGuard.h"
#include "platform/WatchTable.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace quorvalent {

/// What happened to a name in a folder.
enum class NameChange {
    Arrived, ///< something was moved here under this name
    Left,    ///< what bore this name was moved away
    Closed,  ///< a file was closed after writing
    Written, ///< a file was written or truncated; only the first of several such changes may be told
    Other    ///< created, deleted, attributes changed
};

/// Tells what is in some folders, with everything below them, and then what changes there. Each folder is
/// read once, in the same walk that observes it, and again where changes may have gone unseen: after an
/// overflow of the kernel's queue, when a volume came or went, when a root is another folder than before,
/// and where the limit of watches leaves a folder unobserved. Hidden items and the insides of packages are
/// left out (FolderRules).
///
/// Folders that appear, move and vanish are followed; a root may be missing and is awaited; a root that is a
/// link to a folder is followed. Lives on the queue that creates it and must be destroyed there. Sleeps while
/// nothing happens.
class EventStream
{
public:
    struct Handlers
    {
        /// A folder was read, for the first time or again: what is in it now.
        std::function<void(FolderContents &&)> onFolder;
        std::function<void(const std::string &folder, std::string_view name, NameChange)> onName;
        /// A folder with everything in it is no longer here.
        std::function<void(const std::string &folder)> onTreeGone;
        std::function<void(const std::string &from, const std::string &to)> onTreeMoved;
        /// Everything that was to be read has been read: what changes from now on is told.
        std::function<void()> onRead;
        std::function<void(const QString &)> onProblem; ///< takes one complete French sentence
        /// A file got another name in its folder. Not relied upon: of a move whose two halves come apart,
        /// nothing is told. May be left out.
        std::function<void(const std::filesystem::path &from, const std::filesystem::path &to)> onNewName;
        /// Which hidden items `onSought` is to hear of; both may be left out.
        TreeReader::IsSought isSought;
        /// A hidden item that the first reading found. May change the folder that holds it, which is read
        /// anew before anything of it is told.
        std::function<void(const std::filesystem::path &item)> onSought;
    };

    /// Of what may take a while, how long.
    struct Timing
    {
        std::chrono::milliseconds latency{250};   ///< until lost events lead to a fresh look
        std::chrono::milliseconds freshSpan{600}; ///< as in TreeReader
        std::chrono::milliseconds retry{1000};    ///< until a folder that could not be read is read again
    };

    /// Null without a folder to watch.
    [[nodiscard]] static std::unique_ptr<EventStream> create(const std::vector<std::filesystem::path> &roots,
                                                             Timing timing, Handlers handlers,
                                                             AddWatch addWatch = {});

    /// Begins to read the folders; the handlers are called after its return. False when nothing can be
    /// observed; why() tells the reason. To be called once.
    [[nodiscard]] bool start();
    /// One complete French sentence on why nothing can be observed.
    [[nodiscard]] const QString &why() const { return m_why; }

    /// Tells what has happened up to this call before it returns.
    void catchUp();

    /// Whether folders are still to be read.
    [[nodiscard]] bool isReading() const { return m_reader.isBusy(); }
    /// Folders observed at present.
    [[nodiscard]] std::size_t watchCount() const { return m_table.size(); }

private:
    using Place = TreeReader::Place;

    /// The half of a move that comes first.
    struct MoveHalf
    {
        std::uint32_t cookie = 0; ///< what both halves have in common
        int watch = -1;
        std::string name;
        std::string folderPath; ///< of a folder that was moved
    };

    EventStream(std::vector<std::filesystem::path> roots, Timing timing, Handlers handlers,
                const AddWatch &addWatch);

    [[nodiscard]] std::optional<int> enter(const std::string &folder, Place place);
    void readTree(const std::string &top, Place place);
    void readOn();
    void take(TreeReader::Folder &&folder);
    [[nodiscard]] bool tellSought(const TreeReader::Folder &folder);
    void takeFailure(const TreeReader::Folder &folder);
    void forgetWhatWasNotFound();
    void forgetTree(const std::string &folder);
    void readUnread();
    void readUnobserved();
    void rebuild();
    void onEvent(const InotifyEvent &event);
    void onFolderEvent(const InotifyEvent &event, const std::string &folder);
    void onFileEvent(const InotifyEvent &event, const std::string &folder);
    void moveFolder(const std::string &to);
    void settleMove();
    void scheduleRebuild();
    void tellLimit();

    std::vector<std::filesystem::path> m_roots; ///< absolute
    Timing m_timing;
    Handlers m_handlers;
    Inotify m_inotify;
    RootGuard m_guard;
    WatchTable m_table;
    TreeReader m_reader;
    std::set<std::string> m_unobserved;  ///< folders without a watch, because of the limit
    std::map<std::string, int> m_unread; ///< folders that could not be read, and how often that was tried
    std::set<std::string> m_sought;      ///< hidden items that have been told
    std::set<std::string> m_toBeFound;   ///< folders known before the reading under way, not found by it yet
    std::chrono::steady_clock::time_point m_readingSince;
    std::chrono::milliseconds m_lastReading{0};
    DelayedTask m_reading;
    DelayedTask m_rebuilding;
    DelayedTask m_retry;
    DelayedTask m_unobservedLook;
    DelayedTask m_moveEnd; ///< the other half of a folder's move is outside the watched folders
    DelayedTask m_limitMessage;
    MoveHalf m_movedFrom;
    MoveHalf m_movedFolder;
    bool m_isLimitReached = false; ///< since start
    bool m_hasRead = false;        ///< everything, once
    QString m_why;
};

} // namespace quorvalent
