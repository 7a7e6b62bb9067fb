#pragma once

#include "convert/InterruptedWork.h"
#include "core/RenameJob.h"
#include "model/JobOutcome.h"
#include "platform/Dispatch.h"
#include "platform/Error.h"
#include "platform/Machine.h"

#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quorvalent {

/// What the model asks of a watcher. Any thread may call; every function returns at once.
class JobSource
{
public:
    JobSource() = default;
    JobSource(const JobSource &) = delete;
    JobSource &operator=(const JobSource &) = delete;
    virtual ~JobSource() = default; ///< no handler runs afterwards

    /// Watches these folders instead of the earlier ones; none means that nothing is watched. `onWatching`
    /// runs on a thread of the watcher's once every later rename will be reported.
    virtual void start(std::vector<std::filesystem::path> folders, std::function<void()> onWatching) = 0;

    /// The job of this file is over: its renames are reported again, and those of what took its place.
    virtual void complete(const QString &identity, const std::optional<FileStamp> &result) = 0;

    /// Has onMoved tell where the file of a reported job is, once it has come to rest.
    virtual void locate(const QString &identity) = 0;
};

/// Called by a watcher on a thread of its own.
struct JobSourceHandlers
{
    std::function<void(const RenameJob &)> onRename;
    std::function<void(const QString &message)> onProblem; ///< French source text
    /// The file of a reported job stands elsewhere now; without a place it is in no watched folder.
    std::function<void(const QString &identity, const std::optional<std::filesystem::path> &place)> onMoved;
    /// What a killed run left in a folder has been put right.
    std::function<void(const InterruptedConversion &)> onInterruption;
};

/// How the queue goes from one job to the next.
struct QueuePacing
{
    bool pauses = true;       ///< a finished file stays in sight for a moment while at most one other waits
    std::optional<int> lanes; ///< conversions side by side, 1 or more; nothing: see Lanes
};

/// What the model needs of the world outside. Every function must be set.
struct ModelServices
{
    QueuePacing pacing;
    ConvertJob convert;
    /// Whether the job's file, in whatever state, is where the job says; any thread.
    std::function<bool(const RenameJob &)> isInPlace;
    std::function<std::unique_ptr<JobSource>(JobSourceHandlers)> makeWatcher;
    /// Has `onChange` tell on the main thread which of the folders are missing or unreadable, each time that
    /// changes, while the answer is held; called on the main thread.
    std::function<std::shared_ptr<void>(
        const std::vector<std::filesystem::path> &folders,
        std::function<void(const std::vector<std::filesystem::path> &missing)> onChange)>
        observePresence;
    /// Removes the removed originals that have been kept as long as they were to be, or for `most`; with 0,
    /// all of them. Blocks; any thread. Answers when the next is due; nothing when none is left.
    std::function<std::optional<std::chrono::seconds>(std::optional<std::chrono::minutes> most)>
        expireOriginals;
    /// Ends every conversion that runs, now and later, as a failure that gives the file its name back.
    /// Returns at once.
    std::function<void()> stopConversions;
    /// Told of a job that will be run soon, so that what it needs can be got ready; returns at once.
    std::function<void(const RenameJob &)> expect;
    /// What conversions that run side by side may take.
    std::function<Machine()> machine;
    /// Gives the file of a job that could not be begun its old name back, and throws why it could not.
    std::function<void(const RenameJob &, const Error &why)> refuse;
    /// Runs long work off the main thread, each task on a thread of its own; Error when there is none.
    std::function<void(Task)> inBackground;
    /// Runs a task on the main thread after a delay; a delay of 0 means the next turn of the event loop.
    std::function<void(std::chrono::milliseconds, Task)> later;
};

} // namespace quorvalent
