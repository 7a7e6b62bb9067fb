#pragma once

#include "platform/Dispatch.h"
#include "platform/Inotify.h"
#include "platform/RootGuard.h"
#include "platform/WatchTable.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quorvalent {

/// Tells that something in some folders changed which a rename may be part of: an item was created, moved,
/// deleted, closed after writing, or its attributes changed. A write alone is not told, so that a long
/// download or recording stays quiet. Hidden items and the insides of packages are left out (FolderRules).
///
/// Folders that appear, move and vanish are followed; a root may be missing and is awaited; a root that is a
/// link to a folder is followed. Lost events lead to a fresh look and a batch. Lives on the queue that
/// creates it and must be destroyed there. Sleeps while nothing happens.
class EventStream
{
public:
    struct Handlers
    {
        std::function<void()> onBatch;                  ///< something changed
        std::function<void(const QString &)> onProblem; ///< takes one complete French sentence
        /// A file got another name in its folder. Told at once, ahead of the batch, and not relied upon: of a
        /// move whose two halves come apart, nothing is told. May be left out.
        std::function<void(const std::filesystem::path &from, const std::filesystem::path &to)> onNewName;
    };

    /// Null without a folder to watch. `latency` is the span from the first event of a batch to its report.
    [[nodiscard]] static std::unique_ptr<EventStream> create(const std::vector<std::filesystem::path> &roots,
                                                             std::chrono::milliseconds latency,
                                                             Handlers handlers, AddWatch addWatch = {});

    /// Observes from its return on; false when nothing can be observed. Where only a part can, because the
    /// system's limit of watches is reached, that is told once, as a problem, after the return. To be called
    /// once.
    [[nodiscard]] bool start();

    /// Folders observed at present.
    [[nodiscard]] std::size_t watchCount() const { return m_table.size(); }

private:
    enum class Place { Root, Top, Inside }; ///< of a folder in the tree that is being watched

    /// The half of a move that comes first.
    struct MoveHalf
    {
        std::uint32_t cookie = 0; ///< what both halves have in common
        int watch = -1;
        std::string name;
    };

    EventStream(std::vector<std::filesystem::path> roots, std::chrono::milliseconds latency,
                Handlers handlers, const AddWatch &addWatch);

    void watchRoots();
    void watchTree(const std::string &top, Place place);
    /// Answers whether its subfolders are to be watched next: inside a tree, those of a folder that has a
    /// watch already have theirs.
    [[nodiscard]] bool watchFolder(const std::string &folder, Place place);
    void unwatchTree(const std::string &folder);
    void rebuild();
    void onEvent(const InotifyEvent &event);
    void followFolder(const InotifyEvent &event, const std::string &folder);
    void tellNewName(const InotifyEvent &event, const std::string &folder);
    void openWindow();
    void deliver();
    void tellLimit();

    std::vector<std::filesystem::path> m_roots; ///< absolute
    std::chrono::milliseconds m_latency;
    Handlers m_handlers;
    Inotify m_inotify;
    RootGuard m_guard;
    WatchTable m_table;
    DelayedTask m_window; ///< pending from the first event of a batch to its report
    DelayedTask m_limitMessage;
    MoveHalf m_movedFrom;
    bool m_mustRebuild = false;
    bool m_isLimitReached = false; ///< since start
};

} // namespace quorvalent
