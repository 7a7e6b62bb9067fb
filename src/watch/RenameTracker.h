#pragma once

#include "core/RenameJob.h"
#include "platform/EventStream.h"
#include "watch/Listing.h"

#include <QHash>
#include <QSet>
#include <QString>

#include <chrono>
#include <filesystem>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quorvalent {

/// Keeps the listing of the watched folders up to date by what happens in them, and finds the renames that
/// ask for something: same file, folder, size and time, another extension. A file is judged when nothing
/// has happened to its old and its new name for the quiet time; what happens to others does not matter.
///
/// Has no thread, clock or timer of its own: its owner hands in what happened and when, and calls settle()
/// at the deadline. One thread.
class RenameTracker
{
public:
    using Clock = std::chrono::steady_clock;

    struct Handlers
    {
        std::function<void(const RenameJob &)> onRename;
        std::function<void(const QString &)> onProblem; ///< takes one complete French sentence
        /// Where the file of a reported rename is now; no place where it is in no watched folder.
        std::function<void(const QString &identity, const std::optional<std::filesystem::path> &place)>
            onMoved;
    };

    using Look = std::function<FileLook(const std::string &folder, std::string_view name)>;

    RenameTracker(std::chrono::milliseconds quiet, Handlers handlers, Look look = &lookAt);

    /// Forgets the folders. Reported files stay reported; of those that are sought, onMoved tells no place.
    void clear();

    /// A folder was read. Of one that is known, what differs counts as changed now. In one that is new, the
    /// files are known from then on; but for `isStart`, one that was changed just before is known once it
    /// has been left alone.
    void take(FolderContents &&contents, bool isStart, Clock::time_point now);
    void change(const std::string &folder, std::string_view name, NameChange change, Clock::time_point now);
    void treeGone(const std::string &folder);
    void treeMoved(const std::string &from, const std::string &to, Clock::time_point now);

    /// When settle() has something to do; nothing while no name waits for its quiet.
    [[nodiscard]] std::optional<Clock::time_point> deadline() const;
    /// Judges what has been left alone since before the quiet time.
    void settle(Clock::time_point now);

    /// The job of this file is over: what stands under its names is known as it is now, and the file's next
    /// rename is reported again. What the job put under the new name is known there, wherever it is now.
    void release(const QString &identity, const std::optional<FileStamp> &result = {});
    /// Has onMoved tell where the file of a reported rename is, once it has come to rest.
    void locate(const QString &identity);
    [[nodiscard]] bool isReported(const QString &identity) const { return m_reported.contains(identity); }

    /// Files that are known.
    [[nodiscard]] std::size_t count() const { return m_listing.count(); }

private:
    struct Touched;
    using Touches = std::map<NamedPlace, Touched>;
    using Touch = Touches::iterator;
    struct SameFile
    {
        std::size_t operator()(const FoundFile &file) const;
        bool operator()(const FoundFile &left, const FoundFile &right) const;
    };
    using ByFile = std::unordered_multimap<FoundFile, Touch, SameFile, SameFile>;

    /// A name that something happened to.
    struct Touched
    {
        Clock::time_point last;                       ///< when
        std::list<Touch>::iterator order;             ///< in m_order
        std::optional<Clock::time_point> lastWritten; ///< the last change that may have been one of content
        bool wasAtRest = true; ///< nothing had been written for the quiet time when its file was moved away
        std::optional<FoundFile> origin; ///< what was known under the name
        std::optional<FileLook> arrival; ///< the file that was moved here, right after that
        bool isUntouched = false;        ///< nothing has happened to that file since
        int failures = 0;                ///< looks that failed
    };

    /// A reported file, and where it is.
    struct Reported
    {
        RenameJob job;
        FoundFile file;
    };

    /// A file that stands under a name which has been left alone.
    struct Due
    {
        Touch touch;
        FileLook look;
        std::optional<Touch> origin; ///< the other name in its folder that it was known by
    };

    Touch touch(const NamedPlace &place, Clock::time_point now);
    void arrive(Touch touched, const FileLook &look);
    void dropArrival(Touch touched);
    static void drop(ByFile &names, const FoundFile &file, Touch touched);
    void forget(Touch touched);
    void postpone(Touch touched, Touch after);

    [[nodiscard]] bool isQuiet(Touch touched, Clock::time_point now) const;
    void settleWritten(const std::set<std::string> &folders, Clock::time_point now);
    [[nodiscard]] bool waits(Due &due, Clock::time_point now);
    [[nodiscard]] bool waitsForClaim(Touch left, Clock::time_point now);
    [[nodiscard]] std::optional<Touch> originOf(const Due &due) const;
    [[nodiscard]] std::optional<Touch> claimOf(Touch left) const;
    void judge(const Due &due);
    [[nodiscard]] bool wasChangedBefore(const Due &due) const;
    [[nodiscard]] bool isElsewhere(const FoundFile &file, const NamedPlace &now,
                                   const NamedPlace &before) const;
    void settleFiles(const std::vector<Due> &files);
    void settleNothing(Touch touched);
    void settleUnknown(Touch touched, Clock::time_point now);
    void eraseKnown(const NamedPlace &place, const FoundFile &file);

    void knowResult(const NamedPlace &place, const FileStamp &result);
    void absorb(const NamedPlace &place, const FoundFile &reported);
    /// Tells the place of each that is sought and that has come to rest.
    void answerSought();
    void follow(const FoundFile &file, const NamedPlace &place);
    void tell(const QString &identity, const std::optional<std::filesystem::path> &place) const;

    const std::chrono::milliseconds m_quiet;
    const Handlers m_handlers;
    const Look m_look;
    Listing m_listing;
    Touches m_touched;
    std::list<Touch> m_order;                          ///< by the time of the last event
    ByFile m_origins;                                  ///< touched names by the file that is known there
    ByFile m_arrivals;                                 ///< touched names by the file that was moved there
    std::map<NamedPlace, Clock::time_point> m_written; ///< written, nothing else, and not looked at since
    QHash<QString, Reported> m_reported;               ///< by identity
    QSet<QString> m_sought; ///< of these, whose place is to be told even if it is the same
};

} // namespace quorvalent
