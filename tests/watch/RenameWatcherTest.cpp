#include "watch/RenameWatcher.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "support/FreshProcess.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <QStringList>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using namespace std::string_literals;
using test::TestFolder;
using test::waitFor;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr WatchTiming quick{2ms, 5ms, 5ms};
constexpr auto quiet = 600ms;

/// What watches some folders, on this thread and by a clock that the test sets, and what it has reported.
class Watching
{
public:
    explicit Watching(const std::vector<fs::path> &roots, const AddWatch &addWatch = {})
    {
        start(roots, addWatch);
    }

    /// Returns when changes are observed.
    void start(const std::vector<fs::path> &roots, const AddWatch &addWatch = {})
    {
        m_stream.reset();
        m_tracker.clear();
        m_stream = EventStream::create(roots, {1ms, quiet, 1ms}, handlers(), addWatch);
        m_isStarting = true;
        EXPECT_TRUE(m_stream->start());
        readOn();
        m_isStarting = false;
    }
    void pause()
    {
        m_stream.reset();
        m_tracker.clear();
    }
    /// What has happened until now happens at the present time of the clock; then it goes on.
    void pass(std::chrono::milliseconds time)
    {
        m_stream->catchUp();
        readOn();
        m_now += time;
        m_tracker.settle(m_now);
    }
    /// Everything is left alone for long enough.
    void settle() { pass(1h); }
    void complete(const fs::path &path)
    {
        m_stream->catchUp();
        m_tracker.release(FileStamp::read(path).identity);
    }
    /// The last job is over, and put this file in place of its own.
    void complete(const FileStamp &result)
    {
        m_stream->catchUp();
        m_tracker.release(m_jobs.back().identity(), result);
    }
    void locate(const fs::path &path) { locate(FileStamp::read(path).identity); }
    void locate(const QString &identity)
    {
        m_stream->catchUp();
        m_tracker.locate(identity);
    }
    /// The jobs so far, as "old > new" below the folder.
    [[nodiscard]] std::vector<std::string> jobsBelow(const fs::path &folder) const
    {
        std::vector<std::string> lines;
        for (const RenameJob &job : m_jobs)
            lines.push_back(job.oldURL.lexically_relative(folder).native() + " > " +
                            job.newURL.lexically_relative(folder).native());
        std::ranges::sort(lines);
        return lines;
    }
    [[nodiscard]] const QStringList &problems() const { return m_problems; }
    /// Where reported files were told to be, "-" for nowhere.
    [[nodiscard]] const std::vector<std::string> &places() const { return m_places; }
    [[nodiscard]] std::size_t count() const { return m_tracker.count(); }
    /// The next look at the name fails.
    void failAt(const std::string &name) { m_failing = name; }
    [[nodiscard]] bool isAtRest() const { return !m_tracker.deadline(); }

private:
    EventStream::Handlers handlers()
    {
        return {
            [this](FolderContents &&contents) { m_tracker.take(std::move(contents), m_isStarting, m_now); },
            [this](const std::string &folder, std::string_view name, NameChange change) {
                m_tracker.change(folder, name, change, m_now);
            },
            [this](const std::string &folder) { m_tracker.treeGone(folder); },
            [this](const std::string &from, const std::string &to) { m_tracker.treeMoved(from, to, m_now); },
            [] {},
            [this](const QString &text) { m_problems << text; },
            {},
            {},
            {}};
    }
    void readOn()
    {
        EXPECT_TRUE(waitFor([this] { return !m_stream->isReading(); }));
    }

    std::vector<RenameJob> m_jobs;
    QStringList m_problems;
    std::vector<std::string> m_places;
    std::string m_failing;
    RenameTracker::Clock::time_point m_now{1h};
    bool m_isStarting = true;
    RenameTracker m_tracker{quiet,
                            {[this](const RenameJob &job) { m_jobs.push_back(job); },
                             [this](const QString &text) { m_problems << text; },
                             [this](const QString &, const std::optional<fs::path> &place) {
                                 m_places.push_back(place ? place->filename().native() : "-");
                             }},
                            [this](const std::string &place, std::string_view name) {
                                if (name != m_failing)
                                    return lookAt(place, name);
                                m_failing.clear();
                                return FileLook{
                                    .result = FileLook::Result::Unknown, .file = {}, .changed = {}};
                            }};
    std::unique_ptr<EventStream> m_stream;
};

/// The watcher as the program has it, and what it has reported, in the main thread.
class Watcher
{
public:
    explicit Watcher(std::vector<fs::path> roots)
    {
        const auto isWatching = std::make_shared<std::atomic<bool>>(false);
        m_watcher.start(std::move(roots), [isWatching] { *isWatching = true; });
        EXPECT_TRUE(waitFor([&] { return isWatching->load(); }));
    }
    [[nodiscard]] const std::vector<RenameJob> &jobs() const { return m_log->jobs; }
    [[nodiscard]] const QStringList &problems() const { return m_log->problems; }
    [[nodiscard]] const std::vector<std::string> &newNames() const { return m_log->newNames; }

private:
    struct Log
    {
        std::vector<RenameJob> jobs;
        QStringList problems;
        std::vector<std::string> newNames;
    };

    std::shared_ptr<Log> m_log = std::make_shared<Log>();
    RenameWatcher m_watcher{
        [log = m_log](const RenameJob &job) { postToMain([log, job] { log->jobs.push_back(job); }); },
        [log = m_log](const QString &text) { postToMain([log, text] { log->problems << text; }); }, quick,
        [log = m_log](const fs::path &from, const fs::path &to) {
            postToMain([log, line = from.filename().native() + " > " + to.filename().native()] {
                log->newNames.push_back(line);
            });
        }};
};

using Change = std::function<void(const TestFolder &)>;

Change move(const fs::path &from, const fs::path &to)
{
    return [=](const TestFolder &folder) { fs::rename(folder / from, folder / to); };
}

Change write(const char *name)
{
    return [=](const TestFolder &folder) { folder.write(name, "content of "s + name); };
}

struct RenameCase
{
    const char *name;
    std::vector<std::string> files;
    Change change; ///< then the files are left alone
    std::vector<std::string> jobs;
};

void PrintTo(const RenameCase &row, std::ostream *out)
{
    *out << row.name;
}

template <typename Case>
std::string caseName(const testing::TestParamInfo<Case> &info)
{
    return info.param.name;
}

struct ProgramCase
{
    const char *name;
    std::vector<Change> steps;
};

void PrintTo(const ProgramCase &row, std::ostream *out)
{
    *out << row.name;
}

class RenameWatcherLeavesAlone : public testing::TestWithParam<ProgramCase>
{};

class RenameWatcherFinds : public testing::TestWithParam<RenameCase>
{};

TEST_P(RenameWatcherFinds, changedExtensionsOnly)
{
    const TestFolder folder;
    for (const std::string &file : GetParam().files)
        folder.write(file, "content of " + file);
    Watching watching({folder.path()});
    GetParam().change(folder);
    watching.settle();
    EXPECT_EQ(watching.jobsBelow(folder.path()), GetParam().jobs);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, RenameWatcherFinds,
    testing::Values(
        RenameCase{"another", {"watch.png"}, move("watch.png", "watch.jpg"), {"watch.png > watch.jpg"}},
        RenameCase{"withAnotherName", {"a/b.png"}, move("a/b.png", "a/c.jpg"), {"a/b.png > a/c.jpg"}},
        RenameCase{"added", {"photo"}, move("photo", "photo.png"), {"photo > photo.png"}},
        RenameCase{"removed", {"photo.png"}, move("photo.png", "photo"), {"photo.png > photo"}},
        RenameCase{"exchanged",
                   {"a.png", "b.jpg"},
                   [](const TestFolder &f) {
                       fs::rename(f / "a.png", f / "t");
                       fs::rename(f / "b.jpg", f / "a.png");
                       fs::rename(f / "t", f / "b.jpg");
                   },
                   {"a.png > b.jpg", "b.jpg > a.png"}},
        RenameCase{"bytesThatAreNoText",
                   {"\xff\xfe'\"\n%d [.png"},
                   move("\xff\xfe'\"\n%d [.png", "\xff\xfe'\"\n%d [.j\npg"),
                   {"\xff\xfe'\"\n%d [.png > \xff\xfe'\"\n%d [.j\npg"}},
        RenameCase{"sameExtension", {"document.pdf"}, move("document.pdf", "new-name.pdf"), {}},
        RenameCase{"letterCase", {"photo.PNG"}, move("photo.PNG", "photo.png"), {}},
        RenameCase{"movedToASubfolder", {"a.png", "sub/x"}, move("a.png", "sub/a.jpg"), {}},
        RenameCase{"folderRenamedToo",
                   {"sub/a.png"},
                   [](const TestFolder &f) {
                       fs::rename(f / "sub/a.png", f / "sub/a.jpg");
                       fs::rename(f / "sub", f / "other");
                   },
                   {"other/a.png > other/a.jpg"}},
        RenameCase{"contentChangedToo",
                   {"a.png"},
                   [](const TestFolder &f) {
                       fs::rename(f / "a.png", f / "a.jpg");
                       f.write("a.jpg", "more");
                   },
                   {}},
        RenameCase{"timeChangedToo",
                   {"a.png"},
                   [](const TestFolder &f) {
                       fs::rename(f / "a.png", f / "a.jpg");
                       fs::last_write_time(f / "a.jpg", fs::file_time_type::clock::now() - 1h);
                   },
                   {}},
        RenameCase{"replacedByACopy",
                   {"a.png"},
                   [](const TestFolder &f) {
                       const auto time = fs::last_write_time(f / "a.png");
                       fs::copy_file(f / "a.png", f / "a.jpg");
                       fs::last_write_time(f / "a.jpg", time);
                       fs::rename(f / "a.png", f / ".kept");
                   },
                   {}},
        RenameCase{"hiddenBefore", {".a.png"}, move(".a.png", "a.jpg"), {}},
        RenameCase{"hiddenAfter", {"a.png"}, move("a.png", ".a.jpg"), {}},
        RenameCase{"insideAPackage", {"p.app/a.png"}, move("p.app/a.png", "p.app/a.jpg"), {}},
        RenameCase{"newFileUnderTwoNames",
                   {},
                   [](const TestFolder &f) {
                       f.write("a.png", "");
                       fs::rename(f / "a.png", f / "a.jpg");
                   },
                   {}}),
    caseName<RenameCase>);

TEST(RenameWatcher, reportsARenameByItselfWithTheStampOfTheFile)
{
    const TestFolder folder;
    folder.write("new/photo.png", "12345");
    const Watcher watching({folder.path()});
    fs::rename(folder / "new/photo.png", folder / "new/photo.jpg");
    ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); }));
    const RenameJob job = watching.jobs().front();
    EXPECT_EQ(job.oldURL, folder / "new/photo.png");
    EXPECT_EQ(job.newURL, folder / "new/photo.jpg");
    EXPECT_EQ(job.stamp, FileStamp::read(folder / "new/photo.jpg"));
}

TEST(RenameWatcher, neverMissesARenameMadeAsSoonAsItWatches)
{
    const TestFolder folder;
    for (int round = 0; round < 20; ++round) {
        folder.write("photo.png", "");
        const Watcher watching({folder.path()});
        fs::rename(folder / "photo.png", folder / "photo.jpg");
        ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); })) << "round " << round;
        fs::remove(folder / "photo.jpg");
    }
}

TEST(RenameTracker, judgesAFileWhenItsOwnNamesHaveBeenLeftAlone)
{
    const TestFolder folder;
    for (const char *name : {"a.png", "b.png", "c.png", "sub/d.png"})
        folder.write(name, name);
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    move("b.png", "b.jpg")(folder);
    move("c.png", "c.jpg")(folder);
    move("sub/d.png", "sub/d.jpg")(folder);
    watching.pass(500ms);
    folder.write("b.png", "another file under the old name");
    fs::permissions(folder / "c.jpg", fs::perms::owner_all);
    folder.write("other", "");
    folder.write("sub/other", "");
    watching.pass(100ms);
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg", "sub/d.png > sub/d.jpg"));
    watching.pass(500ms);
    EXPECT_THAT(watching.jobsBelow(folder.path()),
                ElementsAre("a.png > a.jpg", "b.png > b.jpg", "c.png > c.jpg", "sub/d.png > sub/d.jpg"));
    EXPECT_TRUE(watching.isAtRest());
}

TEST(RenameTracker, knowsAFileFromTheMomentItHasBeenLeftAlone)
{
    const TestFolder folder;
    Watching watching({folder.path()});
    folder.write("copied.png", "x");
    folder.write("saved.png", "x");
    folder.write("in/a/new/folder.png", "x");
    watching.pass(500ms);
    move("saved.png", "saved.jpg")(folder); // a program that saves into a new file
    watching.pass(100ms);
    move("copied.png", "copied.jpg")(folder);
    move("in/a/new/folder.png", "in/a/new/folder.jpg")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()),
                ElementsAre("copied.png > copied.jpg", "in/a/new/folder.png > in/a/new/folder.jpg"));
}

// What programs do, with pauses longer than the quiet time between the steps.
TEST_P(RenameWatcherLeavesAlone, theStepsOfAProgram)
{
    const TestFolder folder;
    folder.write("a.jpg", "original");
    Watching watching({folder.path()});
    for (const Change &step : GetParam().steps) {
        step(folder);
        watching.settle();
    }
    EXPECT_THAT(watching.jobsBelow(folder.path()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Programs, RenameWatcherLeavesAlone,
    testing::Values(ProgramCase{"exiftool",
                                {write("a.jpg_exiftool_tmp"), move("a.jpg", "a.jpg_original"),
                                 move("a.jpg_exiftool_tmp", "a.jpg"), move("a.jpg_original", "a.jpg")}},
                    ProgramCase{"backupThenSave", {move("a.jpg", "a.jpg.orig"), write("a.jpg")}},
                    ProgramCase{"editor", {move("a.jpg", "a.jpg~"), write("a.jpg")}},
                    ProgramCase{"copyWithNumberedBackup", {move("a.jpg", "a.jpg.~1~"), write("a.jpg")}},
                    ProgramCase{"browser", {write("b.mp4.crdownload"), move("b.mp4.crdownload", "b.mp4")}},
                    ProgramCase{"torrent", {write("b.mkv.!qB"), move("b.mkv.!qB", "b.mkv")}},
                    ProgramCase{"messenger", {write("123.tmp"), move("123.tmp", "b.mp4")}},
                    ProgramCase{
                        "synchronizer",
                        {write(".a.jpg.Xy12Zq"), move("a.jpg", "a.jpg.bak"), move(".a.jpg.Xy12Zq", "a.jpg")}},
                    ProgramCase{"replaceContents",
                                {write(".goutputstream-AB12CD"), move(".goutputstream-AB12CD", "a.jpg")}},
                    ProgramCase{"saveFile", {write("a.jpg.wtWLUc"), move("a.jpg.wtWLUc", "a.jpg")}}),
    caseName<ProgramCase>);

TEST(RenameTracker, knowsWhatWasWrittenBeforeTheMoveWithoutAClosedFile)
{
    const TestFolder folder;
    for (const char *name : {"truncated.png", "open.png", "justBefore.png", "after.png"})
        folder.write(name, "0123456789");
    Watching watching({folder.path()});
    std::ofstream open(folder / "open.png", std::ios::app);
    open << "more" << std::flush;
    ASSERT_EQ(::truncate((folder / "truncated.png").c_str(), 5), 0);
    watching.pass(quiet);
    EXPECT_TRUE(watching.isAtRest()) << "a write alone is waited for by nobody";
    ASSERT_EQ(::truncate((folder / "justBefore.png").c_str(), 5), 0);
    watching.pass(100ms);
    for (const char *name : {"truncated", "open", "justBefore", "after"})
        move(name + ".png"s, name + ".jpg"s)(folder);
    watching.pass(100ms);
    ASSERT_EQ(::truncate((folder / "after.jpg").c_str(), 5), 0);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()),
                ElementsAre("open.png > open.jpg", "truncated.png > truncated.jpg"));
}

TEST(RenameTracker, knowsWhatWasWrittenThroughAMappingByTheTimesOfTheFile)
{
    const TestFolder folder;
    const fs::path path = folder.write("mapped.png", "0123456789");
    Watching watching({folder.path()});
    const FileDescriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    void *bytes = ::mmap(nullptr, 10, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0);
    ASSERT_NE(bytes, MAP_FAILED);
    std::memset(bytes, 'x', 10);
    // The kernel stamps both changes: they have to lie apart by the quiet time.
    const FileTime written = Files().attributes(path).modified;
    ASSERT_TRUE(waitFor([&] { return std::chrono::system_clock::now() > written + quiet + 50ms; }));
    move("mapped.png", "mapped.jpg")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("mapped.png > mapped.jpg"));
    ::munmap(bytes, 10);
}

TEST(RenameTracker, followsFoldersThatMoveAndForgetsThoseThatLeave)
{
    const TestFolder folder;
    const TestFolder elsewhere;
    for (const char *name : {"day/deep/a.png", "gone/b.png", "deleted/c.png", "day/reported.png"})
        folder.write(name, name);
    Watching watching({folder.path()});
    move("day/reported.png", "day/reported.jpg")(folder);
    watching.settle();
    move("day", "night")(folder);
    fs::rename(folder / "gone", elsewhere / "gone");
    fs::remove_all(folder / "deleted");
    watching.settle();
    EXPECT_EQ(watching.count(), 2);
    EXPECT_THAT(watching.places(), ElementsAre("reported.jpg"));
    move("night/deep/a.png", "night/deep/a.jpg")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()),
                ElementsAre("day/reported.png > day/reported.jpg", "night/deep/a.png > night/deep/a.jpg"));
    move("night/reported.jpg", "night/deep/reported.jpg")(folder);
    watching.locate(folder / "night/deep/reported.jpg");
    watching.settle();
    fs::remove(folder / "night/deep/reported.jpg");
    watching.settle();
    EXPECT_THAT(watching.places(), ElementsAre("reported.jpg", "reported.jpg", "-"));
}

TEST(RenameTracker, tellsNoPlaceOfASoughtFileThatIsWatchedNoMore)
{
    const TestFolder folder;
    folder.write("a.png", "");
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    watching.settle();
    move("a.jpg", "b.jpg")(folder);
    watching.locate(folder / "b.jpg");
    EXPECT_TRUE(watching.places().empty());
    watching.pause();
    EXPECT_THAT(watching.places(), ElementsAre("-"));
}

TEST(RenameTracker, tellsNoPlaceOfASoughtFileWhoseNameAnotherHasTaken)
{
    const TestFolder folder;
    folder.write("a.png", "");
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    watching.settle();
    const QString sought = FileStamp::read(folder / "a.jpg").identity;
    fs::rename(folder.write(".result", "new"), folder / "a.jpg");
    watching.locate(sought);
    EXPECT_TRUE(watching.places().empty());
    watching.settle();
    EXPECT_THAT(watching.places(), ElementsAre("-"));
}

TEST(RenameWatcher, leavesAReportedFileAloneUntilItIsReleased)
{
    const TestFolder folder;
    folder.write("a.png", "");
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    watching.settle();
    move("a.jpg", "a.png")(folder); // the old name put back
    watching.settle();
    watching.start({folder.path()}); // what is held stays held over a restart
    move("a.png", "a.bmp")(folder);
    watching.settle();
    move("a.bmp", "a.gif")(folder);
    watching.complete(folder / "a.gif");
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
    move("a.gif", "a.tiff")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.gif > a.tiff", "a.png > a.jpg"));
}

TEST(RenameWatcher, reportsAResultThatIsRenamedBeforeItsJobIsReleased)
{
    for (const std::string next : {"a.png", "a.webp", "b.png"}) {
        const TestFolder folder;
        folder.write("a.png", "original");
        Watching watching({folder.path()});
        move("a.png", "a.jpg")(folder);
        watching.settle();
        move("a.jpg", "a.png")(folder); // the swap of the names, as a job does it
        const FileStamp result = FileStamp::read(folder.write(".work/output", "result"));
        move(".work/output", "a.jpg")(folder);
        fs::remove(folder / "a.png");
        move("a.jpg", next)(folder); // somebody was waiting for it
        watching.complete(result);
        watching.settle();
        EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.jpg > " + next, "a.png > a.jpg"));
    }
}

TEST(RenameWatcher, tellsANewNameAtOnceUnlessAJobGaveIt)
{
    const TestFolder folder;
    folder.write("a.png", "");
    folder.write("b.png", "");
    const Watcher watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); }));
    EXPECT_EQ(watching.newNames().size(), 1U) << "ahead of the report";
    move("a.jpg", "a.png")(folder);
    move("b.png", "b.jpg")(folder);
    ASSERT_TRUE(waitFor([&] { return watching.newNames().size() >= 2; }));
    EXPECT_THAT(watching.newNames(), ElementsAre("a.png > a.jpg", "b.png > b.jpg"));
}

TEST(RenameWatcher, doesNotFollowHardLinks)
{
    const TestFolder folder;
    folder.write("a.png", "");
    fs::create_hard_link(folder / "a.png", folder / "b.png");
    fs::create_hard_link(folder / "a.png", folder / "c.png");
    Watching watching({folder.path()});
    move("b.png", "b.jpg")(folder);
    watching.settle();
    fs::remove(folder / "b.jpg");
    fs::remove(folder / "c.png");
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), IsEmpty());
    move("a.png", "a.jpg")(folder); // the only name left
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
    watching.complete(folder / "a.jpg");
    move("a.jpg", "a.tiff")(folder);
    fs::create_hard_link(folder / "a.tiff", folder / "d.bmp"); // renamed and in two places at once
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
}

TEST(RenameWatcher, countsAPathReachedThroughTwoRootsOnce)
{
    const TestFolder folder;
    folder.write("sub/a.png", "");
    Watching watching({folder.path(), folder / "sub/", folder / ".//sub/."});
    move("sub/a.png", "sub/a.jpg")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("sub/a.png > sub/a.jpg"));
}

TEST(RenameWatcher, forgetsWhatHappenedWhileItWatchedNothing)
{
    const TestFolder folder;
    folder.write("before.png", "");
    Watching watching({folder.path()});
    watching.pause();
    folder.write("meanwhile.png", "");
    move("before.png", "before.jpg")(folder);
    move("meanwhile.png", "meanwhile.jpg")(folder);
    watching.start({folder.path()});
    EXPECT_THAT(watching.jobsBelow(folder.path()), IsEmpty());
}

TEST(RenameTracker, findsARootThatReturns)
{
    const TestFolder folder;
    folder.write("root/a.png", "");
    Watching watching({folder / "root"});
    move("root", "away")(folder);
    ASSERT_TRUE(waitFor([&] {
        return watching.problems().contains(u"Dossier inaccessible : "_s + displayText(folder / "root"));
    }));
    EXPECT_EQ(watching.count(), 0);
    move("away", "root")(folder);
    ASSERT_TRUE(waitFor([&] { return !watching.isAtRest(); })); // the file was written just now
    watching.settle();
    move("root/a.png", "root/a.jpg")(folder);
    watching.settle();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("root/a.png > root/a.jpg"));
}

TEST(RenameTracker, namesAnUnreadableFolderAndKeepsTheRest)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        const TestFolder folder;
        folder.write("private/lost.png", "");
        folder.write("a.png", "");
        fs::permissions(folder / "private", fs::perms::none);
        Watching watching({folder.path()});
        move("a.png", "a.jpg")(folder);
        watching.settle();
        const bool isTold =
            watching.problems() ==
            QStringList{u"Accès impossible : private. Vérifiez les autorisations du dossier."_s};
        fs::permissions(folder / "private", fs::perms::owner_all);
        watching.settle();
        move("private/lost.png", "private/lost.jpg")(folder);
        watching.settle();
        return isTold && watching.jobsBelow(folder.path()).size() == 2;
    }));
}

TEST(RenameTracker, keepsWhatIsKnownOfAFileItCannotLookAt)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        const TestFolder folder;
        folder.write("sub/a.png", "");
        folder.write("sub/b.png", "");
        Watching watching({folder.path()});
        move("sub/a.png", "sub/a.jpg")(folder);
        fs::permissions(folder / "sub", fs::perms::owner_read); // names, but no attributes
        watching.pass(quiet);
        const bool isPatient = watching.problems().isEmpty();
        watching.pass(quiet);
        const bool isTold = watching.problems().contains(
            u"Accès impossible : a.jpg. Vérifiez les autorisations du dossier."_s);
        fs::permissions(folder / "sub", fs::perms::owner_all);
        watching.settle();
        return isPatient && isTold && watching.jobsBelow(folder.path()).size() == 1 && watching.count() == 2;
    }));
}

TEST(RenameTracker, losesNoRenameToALookThatFails)
{
    // At the new name: when it arrives, when it is judged; and at the old one.
    for (const auto &[name, moment] : {std::pair("a.jpg", 1), {"a.jpg", 2}, {"a.png", 2}}) {
        SCOPED_TRACE(name + std::to_string(moment));
        const TestFolder folder;
        folder.write("a.png", "");
        Watching watching({folder.path()});
        move("a.png", "a.jpg")(folder);
        if (moment == 2)
            watching.pass(0ms);
        watching.failAt(name);
        watching.settle();
        watching.settle();
        EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
    }
}

TEST(RenameTracker, findsARenameInAFolderThatCouldNotBeReadForAWhile)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        const TestFolder folder;
        folder.write("sub/a.png", "");
        folder.write("other", "");
        // Without a watch of its own, the folder is read again when something happens in the other one.
        Watching watching({folder.path()}, [](int inotify, const char *path, std::uint32_t mask) {
            errno = ENOMEM;
            return std::string_view(path).ends_with("sub") ? -1 : ::inotify_add_watch(inotify, path, mask);
        });
        rlimit files = {};
        ::getrlimit(RLIMIT_NOFILE, &files);
        const FileDescriptor next(::dup(STDERR_FILENO));
        const rlimit none = {.rlim_cur = static_cast<rlim_t>(next.get()), .rlim_max = files.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
        move("sub/a.png", "sub/a.jpg")(folder);
        move("other", "another")(folder);
        const bool isTold = waitFor([&] {
            return watching.problems() ==
                   QStringList{u"Accès impossible : sub. Vérifiez les autorisations du dossier."_s};
        });
        ::setrlimit(RLIMIT_NOFILE, &files);
        move("another", "other")(folder);
        const bool isFound = waitFor([&] {
            watching.settle();
            return watching.jobsBelow(folder.path()) == std::vector{"sub/a.png > sub/a.jpg"s};
        });
        return isTold && isFound;
    }));
}

TEST(RenameWatcher, saysWhyItCannotWatchAndStartsWhenItCan)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        rlimit files = {};
        ::getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = files.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &files);
        std::vector<FileDescriptor> instances;
        while (instances.empty() || instances.back().isOpen())
            instances.emplace_back(::inotify_init1(IN_CLOEXEC));

        const TestFolder folder;
        QStringList problems;
        std::atomic<bool> isWatching = false;
        RenameWatcher watcher([](const RenameJob &) {},
                              [&](const QString &text) { postToMain([&, text] { problems << text; }); },
                              quick);
        watcher.start({folder.path()}, [&] { isWatching = true; });
        const bool isTold = waitFor([&] {
            return !problems.isEmpty() &&
                   problems.front().contains(u"sysctl fs.inotify.max_user_instances="_s);
        });
        const bool isIdle = !isWatching;
        instances.clear();
        const bool startsAgain = waitFor([&] { return isWatching.load(); });
        watcher.stop();
        return isTold && isIdle && startsAgain && problems.size() == 1;
    }));
}

TEST(RenameWatcher, hasLeftWorkPutRightBeforeItKnowsTheFilesBesideIt)
{
    const TestFolder folder;
    for (const char *name : {"sub/.work-1/journal", "sub/a.jpg", "sub/b.png"})
        folder.write(name, name);
    std::vector<std::string> jobs;
    std::atomic<bool> isWatching = false;
    std::atomic<int> calls = 0;
    const auto putRight = [&](const fs::path &work) {
        ++calls; // the folder stays: not all can be put right
        EXPECT_EQ(work, folder / "sub/.work-1");
        move("sub/a.jpg", "sub/a.png")(folder);
    };
    RenameWatcher watcher(
        [&](const RenameJob &job) {
            postToMain([&, name = job.newURL.filename().native()] { jobs.push_back(name); });
        },
        [](const QString &) {}, quick, {}, {},
        {[](std::string_view name) { return name.starts_with(".work-"); }, putRight});
    watcher.start({folder.path()}, [&] { isWatching = true; });
    ASSERT_TRUE(waitFor([&] { return isWatching.load(); }));
    move("sub/b.png", "sub/b.jpg")(folder);
    ASSERT_TRUE(waitFor([&] { return !jobs.empty(); }));
    EXPECT_THAT(jobs, ElementsAre("b.jpg"));
    EXPECT_EQ(calls, 1);
}

TEST(RenameWatcher, runsNoHandlerOnceItIsDestroyed)
{
    const TestFolder folder;
    folder.write("a.png", "");
    std::atomic<bool> isDestroyed = false;
    std::atomic<int> late = 0;
    for (int round = 0; round < 50; ++round) {
        isDestroyed = false;
        {
            RenameWatcher watcher([&](const RenameJob &) { late += isDestroyed; },
                                  [&](const QString &) { late += isDestroyed; }, {0ms, 0ms, 1ms});
            std::atomic<bool> isWatching = false;
            watcher.start({folder.path(), "/missing"}, [&] { isWatching = true; });
            const bool isEven = round % 2 == 0;
            EXPECT_TRUE(waitFor([&] { return isWatching || !isEven; }));
            fs::rename(folder / (isEven ? "a.png" : "a.jpg"), folder / (isEven ? "a.jpg" : "a.png"));
            for (int task = 0; task < round; ++task)
                watcher.complete({});
        }
        isDestroyed = true;
    }
    EXPECT_EQ(late, 0);
}

} // namespace

} // namespace quorvalent
