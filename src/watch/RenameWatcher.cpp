#include "watch/RenameWatcher.h"

#include "platform/Error.h"

#include <algorithm>
#include <utility>

namespace quorvalent {

namespace {

using namespace std::chrono_literals;
using Clock = RenameTracker::Clock;

// Names whose quiet ends within this span are judged together.
constexpr auto togetherSpan = 5ms;
constexpr int startRetryFactor = 10;

} // namespace

RenameWatcher::RenameWatcher(RenameHandler onRename, ProblemHandler onError, WatchTiming timing,
                             NewNameHandler onNewName, MovedHandler onMoved, LeftWork leftWork)
    : m_onError(std::move(onError))
    , m_timing(timing)
    , m_onNewName(std::move(onNewName))
    , m_leftWork(std::move(leftWork))
    , m_tracker(timing.quiet, {std::move(onRename), m_onError, std::move(onMoved)})
    // Reading a large tree takes a core for a while; the user's own work comes first.
    , m_queue(QStringLiteral("quorvalent.watch"), SerialQueue::Priority::Utility)
{}

RenameWatcher::~RenameWatcher()
{
    m_queue.close([this] { unwatch(); });
}

void RenameWatcher::start(std::vector<std::filesystem::path> paths, std::function<void()> onWatching)
{
    m_queue.post([this, paths = std::move(paths), onWatching = std::move(onWatching)]() mutable {
        watch(std::move(paths), std::move(onWatching));
    });
}

void RenameWatcher::stop()
{
    m_queue.sync([this] { unwatch(); });
}

void RenameWatcher::complete(const QString &identity, const std::optional<FileStamp> &result)
{
    m_queue.post([this, identity, result] {
        // What the job did itself is to be seen before its file is let go.
        if (m_stream)
            m_stream->catchUp();
        m_tracker.release(identity, result);
    });
}

void RenameWatcher::locate(const QString &identity)
{
    m_queue.post([this, identity] {
        if (m_stream)
            m_stream->catchUp();
        m_tracker.locate(identity);
    });
}

void RenameWatcher::watch(std::vector<std::filesystem::path> paths, std::function<void()> onWatching)
{
    unwatch();
    m_roots = std::move(paths);
    m_onWatching = std::move(onWatching);
    m_toldReason.clear();
    observe();
}

void RenameWatcher::observe()
{
    m_stream =
        EventStream::create(m_roots, {m_timing.latency, m_timing.quiet, m_timing.retry}, streamHandlers());
    if (m_stream == nullptr)
        return;
    m_isStarting = true;
    if (m_stream->start())
        return;
    if (std::exchange(m_toldReason, m_stream->why()) != m_stream->why())
        m_onError(m_toldReason);
    m_stream.reset();
    m_retry = DelayedTask(startRetryFactor * m_timing.retry, [this] { observe(); });
}

EventStream::Handlers RenameWatcher::streamHandlers()
{
    EventStream::Handlers handlers;
    handlers.onFolder = [this](FolderContents &&contents) {
        m_tracker.take(std::move(contents), m_isStarting, Clock::now());
        awaitQuiet();
    };
    handlers.onName = [this](const std::string &folder, std::string_view name, NameChange change) {
        m_tracker.change(folder, name, change, Clock::now());
        awaitQuiet();
    };
    handlers.onTreeGone = [this](const std::string &folder) { m_tracker.treeGone(folder); };
    handlers.onTreeMoved = [this](const std::string &from, const std::string &to) {
        m_tracker.treeMoved(from, to, Clock::now());
        awaitQuiet();
    };
    handlers.onRead = [this] {
        m_isStarting = false;
        m_hasStarted = true;
        if (const auto onWatching = std::exchange(m_onWatching, {}))
            onWatching();
    };
    handlers.onProblem = m_onError;
    handlers.onNewName = [this](const std::filesystem::path &from, const std::filesystem::path &to) {
        tellNewName(from, to);
    };
    if (!m_hasStarted && m_leftWork.putRight) {
        handlers.isSought = m_leftWork.isIt;
        handlers.onSought = m_leftWork.putRight;
    }
    return handlers;
}

void RenameWatcher::unwatch()
{
    m_quiet.cancel();
    m_retry.cancel();
    m_stream.reset();
    m_roots.clear();
    m_onWatching = {};
    m_isStarting = false;
    m_tracker.clear();
}

// The timer that is pending ends at the earliest deadline or before it, because deadlines only move away.
void RenameWatcher::awaitQuiet()
{
    const auto deadline = m_tracker.deadline();
    if (!deadline || m_quiet.isPending())
        return;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now());
    m_quiet = DelayedTask(std::max(left, 0ms) + togetherSpan, [this] { settle(); });
}

void RenameWatcher::settle()
{
    // What happened up to now decides, not what has been told up to now.
    if (m_stream)
        m_stream->catchUp();
    m_tracker.settle(Clock::now());
    m_quiet.cancel();
    awaitQuiet();
}

void RenameWatcher::tellNewName(const std::filesystem::path &from, const std::filesystem::path &to) const
{
    if (!m_onNewName)
        return;
    try {
        if (m_tracker.isReported(FileStamp::read(to).identity))
            return;
    } catch (const Error &) {
        return; // it is not there any more
    }
    m_onNewName(from, to);
}

} // namespace quorvalent
