#pragma once

#include "media/ExportPlan.h"
#include "media/MediaPrograms.h"
#include "platform/Error.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>

namespace quorvalent {

/// One export of a media file into a movie, by the system's FFmpeg program. Its result is not believed but
/// checked: a session that completed has an output that holds what the source holds.
///
/// Belongs to the thread that created it, apart from progress() and status(). The export runs on a thread of
/// the session's own; destroying the session ends it.
class ExportSession
{
public:
    enum class Status { Unknown, Exporting, Completed, Failed };

    /// Nothing when no session can be had for this source and preset: `program` is missing, the source is no
    /// media, encrypted, or holds nothing that can be seen or heard in any of the file types. Nothing is
    /// written. `source` is absolute. Blocks for some 70 ms at most.
    [[nodiscard]] static std::unique_ptr<ExportSession>
    create(const std::filesystem::path &source, ExportPreset preset,
           const std::filesystem::path &program = MediaPrograms::ffmpeg());
    ~ExportSession();
    ExportSession(const ExportSession &) = delete;
    ExportSession &operator=(const ExportSession &) = delete;

    /// What this source can become with this preset.
    [[nodiscard]] std::set<MovieFileType> supportedFileTypes() const;
    /// A French sentence for each stream of the source that such a file does not take along.
    [[nodiscard]] QStringList omissions(MovieFileType type) const;

    std::filesystem::path outputURL;                              ///< absolute; nothing may stand there yet
    MovieFileType outputFileType = MovieFileType::QuickTimeMovie; ///< one of supportedFileTypes()

    /// Starts and returns at once. `completion` runs once, on the session's thread, after the final status is
    /// set; it must not throw and must not destroy the session. Once per session.
    void exportAsynchronously(std::function<void()> completion);

    /// 0 to 1, by time; any thread.
    [[nodiscard]] double progress() const { return m_progress.load(); }
    /// Any thread.
    [[nodiscard]] Status status() const { return m_status.load(); }
    /// Why the export failed; nothing when FFmpeg reported success and the check found its output wanting.
    /// Valid once the status is final.
    [[nodiscard]] const std::optional<Error> &error() const { return m_error; }

private:
    using Plans = std::map<MovieFileType, ExportPlan>;

    ExportSession(std::filesystem::path source, Plans plans, std::filesystem::path program);
    static Plans plansFor(const SourceMedia &media, ExportPreset preset);
    void run();
    [[nodiscard]] Status exportNow();
    void readProgress(const QByteArray &line, double seconds);

    std::filesystem::path m_source;
    Plans m_plans;
    std::filesystem::path m_program;
    std::function<void()> m_completion;
    std::atomic<double> m_progress = 0;
    std::atomic<Status> m_status = Status::Unknown;
    std::optional<Error> m_error;
    std::atomic<int> m_childHandle = -1; ///< pidfd of the running FFmpeg
    std::atomic<bool> m_isCancelled = false;
    std::thread m_thread;
};

} // namespace quorvalent
