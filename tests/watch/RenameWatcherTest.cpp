#include "watch/RenameWatcher.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"
#include "support/FreshProcess.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <sys/inotify.h>
#include <sys/resource.h>

#include <QStringList>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;
using test::TestFolder;
using test::waitFor;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr WatchTiming quick{2ms, 5ms};
constexpr WatchTiming onlyOnDemand{2ms, 1h};

/// A watcher over some folders, and what it has reported, in the main thread.
class Watching
{
public:
    explicit Watching(std::vector<fs::path> roots, WatchTiming timing = onlyOnDemand)
        : m_watcher(
              [log = m_log](const RenameJob &job) { postToMain([log, job] { log->jobs.push_back(job); }); },
              [log = m_log](const QString &text) { postToMain([log, text] { log->problems << text; }); },
              timing,
              [log = m_log](const fs::path &from, const fs::path &to) {
                  postToMain([log, line = from.filename().native() + " > " + to.filename().native()] {
                      log->newNames.push_back(line);
                  });
              })
    {
        start(std::move(roots));
    }

    /// Returns when changes are observed. One root more is missing, so that each listing leaves a trace.
    void start(std::vector<fs::path> roots)
    {
        roots.emplace_back("/missing");
        const auto before = traces();
        const auto isWatching = std::make_shared<std::atomic<bool>>(false);
        m_watcher.start(std::move(roots), [isWatching] { *isWatching = true; });
        EXPECT_TRUE(waitFor([&] { return isWatching->load() && traces() > before; }));
    }
    void pause() { m_watcher.start({}); }
    void complete(const fs::path &path) { m_watcher.complete(FileStamp::read(path).identity); }
    /// Has the watcher list its folders, and returns when that is done.
    void scan()
    {
        // Two listings: the first trace may be that of a listing which was already under way.
        const auto before = traces();
        m_watcher.complete({});
        m_watcher.complete({});
        EXPECT_TRUE(waitFor([&] { return traces() >= before + 2; }));
    }
    /// The jobs so far, as "old > new" below the folder.
    std::vector<std::string> jobsBelow(const fs::path &folder)
    {
        scan(); // jobs of the scan before have arrived when the trace of this one has
        std::vector<std::string> lines;
        for (const RenameJob &job : m_log->jobs)
            lines.push_back(job.oldURL.lexically_relative(folder).native() + " > " +
                            job.newURL.lexically_relative(folder).native());
        std::ranges::sort(lines);
        return lines;
    }
    [[nodiscard]] const std::vector<RenameJob> &jobs() const { return m_log->jobs; }
    [[nodiscard]] const QStringList &problems() const { return m_log->problems; }
    [[nodiscard]] const std::vector<std::string> &newNames() const { return m_log->newNames; }

private:
    [[nodiscard]] qsizetype traces() const
    {
        return m_log->problems.count(u"Dossier inaccessible : /missing"_s);
    }

    struct Log
    {
        std::vector<RenameJob> jobs;
        QStringList problems;
        std::vector<std::string> newNames;
    };

    std::shared_ptr<Log> m_log = std::make_shared<Log>();
    RenameWatcher m_watcher;
};

using Change = std::function<void(const TestFolder &)>;

Change move(const fs::path &from, const fs::path &to)
{
    return [=](const TestFolder &folder) { fs::rename(folder / from, folder / to); };
}

struct RenameCase
{
    const char *name;
    std::vector<std::string> files;
    Change change; ///< happens between two listings
    std::vector<std::string> jobs;
};

void PrintTo(const RenameCase &row, std::ostream *out)
{
    *out << row.name;
}

std::string caseName(const testing::TestParamInfo<RenameCase> &info)
{
    return info.param.name;
}

class RenameWatcherFinds : public testing::TestWithParam<RenameCase>
{};

TEST_P(RenameWatcherFinds, changedExtensionsOnly)
{
    const TestFolder folder;
    for (const std::string &file : GetParam().files)
        folder.write(file, "content of " + file);
    Watching watching({folder.path()});
    GetParam().change(folder);
    watching.scan();
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
                   {}},
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
    caseName);

TEST(RenameWatcher, reportsARenameByItselfWithTheStampOfTheFile)
{
    const TestFolder folder;
    folder.write("new/photo.png", "12345");
    Watching watching({folder.path()}, quick);
    fs::rename(folder / "new/photo.png", folder / "new/photo.jpg");
    ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); }));
    const RenameJob job = watching.jobs().front();
    EXPECT_EQ(job.oldURL, folder / "new/photo.png");
    EXPECT_EQ(job.newURL, folder / "new/photo.jpg");
    EXPECT_EQ(job.stamp, FileStamp::read(folder / "new/photo.jpg"));

    folder.write("later/sound.wav", "");
    watching.scan();
    fs::rename(folder / "later/sound.wav", folder / "later/sound.mp3");
    ASSERT_TRUE(waitFor([&] { return watching.jobs().size() == 2; }));
    EXPECT_EQ(watching.jobs().back().newURL, folder / "later/sound.mp3");
}

TEST(RenameWatcher, neverMissesARenameMadeAsSoonAsItWatches)
{
    const TestFolder folder;
    for (int round = 0; round < 20; ++round) {
        folder.write("photo.png", "");
        Watching watching({folder.path()}, quick);
        fs::rename(folder / "photo.png", folder / "photo.jpg");
        ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); })) << "round " << round;
        fs::remove(folder / "photo.jpg");
    }
}

TEST(RenameWatcher, leavesAReportedFileAloneUntilItIsReleased)
{
    const TestFolder folder;
    folder.write("a.png", "");
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    watching.scan();
    move("a.jpg", "a.png")(folder); // the old name put back
    watching.scan();
    watching.start({folder.path()}); // what is held stays held over a restart
    move("a.png", "a.bmp")(folder);
    watching.scan();
    move("a.bmp", "a.gif")(folder);
    watching.complete(folder / "a.gif");
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
    move("a.gif", "a.tiff")(folder);
    watching.scan();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.gif > a.tiff", "a.png > a.jpg"));
}

TEST(RenameWatcher, tellsANewNameAtOnceUnlessAJobGaveIt)
{
    const TestFolder folder;
    folder.write("a.png", "");
    folder.write("b.png", "");
    Watching watching({folder.path()});
    move("a.png", "a.jpg")(folder);
    ASSERT_TRUE(waitFor([&] { return watching.newNames().size() == 1; }));
    EXPECT_THAT(watching.jobs(), IsEmpty()) << "ahead of the listing";
    watching.scan();
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
    watching.scan();
    fs::remove(folder / "b.jpg");
    fs::remove(folder / "c.png");
    watching.scan();
    EXPECT_THAT(watching.jobsBelow(folder.path()), IsEmpty());
    move("a.png", "a.jpg")(folder); // the only name left
    watching.scan();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
    watching.complete(folder / "a.jpg");
    move("a.jpg", "a.tiff")(folder);
    fs::create_hard_link(folder / "a.tiff", folder / "d.bmp"); // renamed and in two places at once
    watching.scan();
    EXPECT_THAT(watching.jobsBelow(folder.path()), ElementsAre("a.png > a.jpg"));
}

TEST(RenameWatcher, countsAPathReachedThroughTwoRootsOnce)
{
    const TestFolder folder;
    folder.write("sub/a.png", "");
    Watching watching({folder.path(), folder / "sub/", folder / ".//sub/."});
    move("sub/a.png", "sub/a.jpg")(folder);
    watching.scan();
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

TEST(RenameWatcher, findsARootThatReturns)
{
    const TestFolder folder;
    folder.write("root/a.png", "");
    Watching watching({folder / "root"}, quick);
    move("root", "away")(folder);
    ASSERT_TRUE(waitFor([&] {
        return watching.problems().contains(u"Dossier inaccessible : "_s + displayText(folder / "root"));
    }));
    move("away", "root")(folder);
    watching.scan();
    move("root/a.png", "root/a.jpg")(folder);
    ASSERT_TRUE(waitFor([&] { return !watching.jobs().empty(); }));
    EXPECT_EQ(watching.jobs().front().newURL, folder / "root/a.jpg");
}

TEST(RenameWatcher, namesAnUnreadableFolderAtEveryListingAndKeepsTheRest)
{
    EXPECT_TRUE(test::holdsWithoutRights([] {
        const TestFolder folder;
        folder.write("private/lost.png", "");
        folder.write("a.png", "");
        fs::permissions(folder / "private", fs::perms::none);
        Watching watching({folder.path()});
        move("a.png", "a.jpg")(folder);
        watching.scan();
        const auto told = watching.problems().count(
            u"Accès impossible : private. Vérifiez les autorisations du dossier."_s);
        fs::permissions(folder / "private", fs::perms::owner_all);
        watching.scan();
        return told == 3 && watching.jobs().size() == 1; // at the start and twice in the scan
    }));
}

TEST(RenameWatcher, saysWhenItCannotWatch)
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
        bool isWatching = false;
        RenameWatcher watcher([](const RenameJob &) {},
                              [&](const QString &text) { postToMain([&, text] { problems << text; }); });
        watcher.start({folder.path()}, [&] { isWatching = true; });
        const bool isTold =
            waitFor([&] { return problems.contains(u"Impossible de surveiller ces dossiers."_s); });
        watcher.stop();
        return isTold && !isWatching;
    }));
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
                                  [&](const QString &) { late += isDestroyed; }, {0ms, 0ms});
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
