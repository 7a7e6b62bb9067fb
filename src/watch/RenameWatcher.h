#pragma once

#include "core/RenameJob.h"
#include "platform/Dispatch.h"
#include "platform/EventStream.h"
#include "watch/Listing.h"

#include <QSet>
#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quorvalent {

using RenameHandler = std::function<void(const RenameJob &)>;
/// Takes one complete French sentence.
using ProblemHandler = std::function<void(const QString &message)>;

/// Takes the names of a file before and after.
using NewNameHandler =
    std::function<void(const std::filesystem::path &from, const std::filesystem::path &to)>;

/// Takes where the file of a reported rename is now; no place where it is in no watched folder.
using MovedHandler =
    std::function<void(const QString &identity, const std::optional<std::filesystem::path> &place)>;

struct WatchTiming
{
    std::chrono::milliseconds latency{250}; ///< changes of this span arrive as one batch
    std::chrono::milliseconds quiet{600};   ///< the listing follows the last batch by this much
};

/// Reports files whose extension was changed by a rename in place: same file, folder, size and time, another
/// extension. Changes only say when to look; renames are found by comparing a fresh listing of the folders
/// with the one before. A reported file is left alone until complete() releases it.
///
/// Owns one thread, the watcher's queue. Every function is called from another thread than that; all
/// handlers run on it, must not throw and should return soon.
class RenameWatcher
{
public:
    /// `onNewName` hears of a file's new name at once, long before it may be reported as a rename, so that
    /// something can be got ready. It is not told of every one, and hears of those that are not reported too,
    /// but not of a reported file: while its job works, the new names are the job's own.
    RenameWatcher(RenameHandler onRename, ProblemHandler onError, WatchTiming timing = {},
                  NewNameHandler onNewName = {}, MovedHandler onMoved = {});
    /// Waits for the listing in progress; no handler runs afterwards, whatever was still to be done.
    ~RenameWatcher();
    RenameWatcher(const RenameWatcher &) = delete;
    RenameWatcher &operator=(const RenameWatcher &) = delete;

    /// Returns at once. Watches these folders, with their subfolders, in place of any others; none stops
    /// watching. Renames made before the first listing are never reported. `onWatching` runs once that
    /// listing is done and changes are observed: a rename made afterwards is never missed. It does not run
    /// where nothing can be observed.
    void start(std::vector<std::filesystem::path> paths, std::function<void()> onWatching = {});
    /// Returns when nothing is watched any more. Reported files stay reported.
    void stop();
    /// Returns at once. The job of this identity is over: where the file is now counts as known, and its
    /// next rename is reported again.
    void complete(const QString &identity);
    /// Returns at once. `onMoved` will tell where the file of this identity is.
    void locate(const QString &identity);

private:
    void watch(std::vector<std::filesystem::path> paths, const std::function<void()> &onWatching);
    void unwatch();
    void scheduleScan();
    void scan();
    void tellNewName(const std::filesystem::path &from, const std::filesystem::path &to) const;

    const RenameHandler m_onRename;
    const ProblemHandler m_onError;
    const WatchTiming m_timing;
    const NewNameHandler m_onNewName;
    const MovedHandler m_onMoved;
    // All below live on m_queue.
    std::unique_ptr<EventStream> m_stream;
    std::vector<std::filesystem::path> m_roots;
    Listing m_files;
    QSet<QString> m_processing; ///< identities reported and not yet released
    DelayedTask m_pendingScan;
    SerialQueue m_queue;
};

} // namespace quorvalent
