#pragma once

#include "core/RenameJob.h"
#include "platform/Dispatch.h"
#include "platform/EventStream.h"
#include "watch/RenameTracker.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
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

/// Work of this program's that is to be put right before the files beside it are known.
struct LeftWork
{
    std::function<bool(std::string_view name)> isIt; ///< by the name of a hidden folder; from two threads
    std::function<void(const std::filesystem::path &folder)> putRight;
};

struct WatchTiming
{
    std::chrono::milliseconds latency{250}; ///< until lost events lead to a fresh look
    std::chrono::milliseconds quiet{600};   ///< how long a file has been left alone before it is judged
    std::chrono::milliseconds retry{1000}; ///< until what failed is tried again; ten times this to start anew
};

/// Reports files whose extension was changed by a rename in place: same file, folder, size and time, another
/// extension. A reported file is left alone until complete() releases it.
///
/// Owns one thread, the watcher's queue. Every function is called from another thread than that; all
/// handlers run on it, must not throw and should return soon.
class RenameWatcher
{
public:
    /// `onNewName` hears of a file's new name at once, long before it may be reported as a rename, so that
    /// something can be got ready. It is not told of every one, and hears of those that are not reported too,
    /// but not of a reported file: while its job works, the new names are the job's own. `leftWork` is looked
    /// for by the first reading of folders.
    RenameWatcher(RenameHandler onRename, ProblemHandler onError, WatchTiming timing = {},
                  NewNameHandler onNewName = {}, MovedHandler onMoved = {}, LeftWork leftWork = {});
    /// Waits for the portion of a reading in progress; no handler runs afterwards, whatever was still to be
    /// done.
    ~RenameWatcher();
    RenameWatcher(const RenameWatcher &) = delete;
    RenameWatcher &operator=(const RenameWatcher &) = delete;

    /// Returns at once. Watches these folders, with their subfolders, in place of any others; none stops
    /// watching. Renames made before a folder was read are never reported. `onWatching` runs once all are
    /// read and changes are observed: a rename made afterwards is never missed. Where nothing can be observed
    /// that is told as a problem, and tried again until it can.
    void start(std::vector<std::filesystem::path> paths, std::function<void()> onWatching = {});
    /// Returns when nothing is watched any more. Reported files stay reported.
    void stop();
    /// Returns at once. The job of this identity is over: where the file is now counts as known, and its
    /// next rename is reported again. `result` is what the job put under the new name: that is known there,
    /// even if somebody has renamed it since.
    void complete(const QString &identity, const std::optional<FileStamp> &result = {});
    /// Returns at once. `onMoved` will tell where the file of this identity is.
    void locate(const QString &identity);

private:
    void watch(std::vector<std::filesystem::path> paths, std::function<void()> onWatching);
    void observe();
    void unwatch();
    void awaitQuiet();
    void settle();
    void tellNewName(const std::filesystem::path &from, const std::filesystem::path &to) const;
    [[nodiscard]] EventStream::Handlers streamHandlers();

    const ProblemHandler m_onError;
    const WatchTiming m_timing;
    const NewNameHandler m_onNewName;
    const LeftWork m_leftWork;
    // All below live on m_queue.
    RenameTracker m_tracker;
    std::unique_ptr<EventStream> m_stream;
    std::vector<std::filesystem::path> m_roots;
    std::function<void()> m_onWatching; ///< set until everything has been read once
    bool m_isStarting = false;          ///< until then
    bool m_hasStarted = false;          ///< some folders have been read
    QString m_toldReason;               ///< why nothing can be observed, as it was last told
    DelayedTask m_quiet;
    DelayedTask m_retry;
    SerialQueue m_queue;
};

} // namespace quorvalent
