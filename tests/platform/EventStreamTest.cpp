#include "platform/EventStream.h"

#include "support/FreshProcess.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <sys/inotify.h>
#include <sys/mount.h>

#include <QRegularExpression>
#include <QStringList>

#include <gmock/gmock.h>

#include <atomic>
#include <cerrno>
#include <fstream>
#include <map>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::TestFolder;
using test::waitFor;

/// A stream on a queue of its own, as its owner has it.
class RunningStream
{
public:
    explicit RunningStream(const std::vector<fs::path> &roots, AddWatch addWatch = {})
    {
        m_queue.sync([&] {
            EventStream::Handlers handlers;
            handlers.onFolder = [this](const FolderContents &contents) {
                m_contents[contents.path] = contents.files.size();
                ++m_changes;
            };
            handlers.onName = [this](const std::string &, std::string_view, NameChange change) {
                m_changes += change != NameChange::Written;
            };
            handlers.onTreeGone = [this](const std::string &folder) {
                m_contents.erase(folder);
                ++m_changes;
            };
            handlers.onTreeMoved = [this](const std::string &, const std::string &) { ++m_changes; };
            handlers.onRead = [this] { m_isRead = true; };
            handlers.onProblem = [this](const QString &message) { m_problems << message; };
            handlers.onNewName = [this](const fs::path &from, const fs::path &to) {
                m_newNames.emplace_back(from, to);
            };
            m_stream = EventStream::create(roots, {2ms, 2ms, 2ms}, std::move(handlers), std::move(addWatch));
            m_isObserving = m_stream->start();
        });
        EXPECT_TRUE(waitFor([this] { return m_isRead || !m_isObserving; }));
        m_changes = 0;
    }
    ~RunningStream()
    {
        m_queue.close([this] { m_stream.reset(); });
    }
    RunningStream(const RunningStream &) = delete;
    RunningStream &operator=(const RunningStream &) = delete;

    [[nodiscard]] bool tells(const std::function<void()> &change)
    {
        const int before = m_changes;
        change();
        return waitFor([&] { return m_changes > before; });
    }
    [[nodiscard]] int changes() const { return m_changes; }
    [[nodiscard]] bool isObserving() const { return m_isObserving; }
    [[nodiscard]] std::size_t watchCount()
    {
        std::size_t count = 0;
        m_queue.sync([&] { count = m_stream->watchCount(); });
        return count;
    }
    [[nodiscard]] QString why()
    {
        QString why;
        m_queue.sync([&] { why = m_stream->why(); });
        return why;
    }
    [[nodiscard]] QStringList problems()
    {
        QStringList problems;
        m_queue.sync([&] { problems = m_problems; });
        return problems;
    }
    [[nodiscard]] std::vector<std::pair<fs::path, fs::path>> newNames()
    {
        std::vector<std::pair<fs::path, fs::path>> names;
        m_queue.sync([&] { names = m_newNames; });
        return names;
    }
    SerialQueue &queue() { return m_queue; }

private:
    std::atomic<int> m_changes = 0;
    std::atomic<bool> m_isRead = false;
    bool m_isObserving = false;
    std::map<std::string, std::size_t> m_contents; ///< files of each folder, on m_queue
    QStringList m_problems;                        ///< on m_queue
    std::vector<std::pair<fs::path, fs::path>> m_newNames;
    std::unique_ptr<EventStream> m_stream;
    SerialQueue m_queue{QStringLiteral("test")};
};

using Step = std::function<void(const TestFolder &)>;

Step write(const char *name)
{
    return [=](const TestFolder &folder) { folder.write(name, "x"); };
}

Step move(const char *from, const char *to)
{
    return [=](const TestFolder &folder) { fs::rename(folder / from, folder / to); };
}

Step removeAll(const char *name)
{
    return [=](const TestFolder &folder) { fs::remove_all(folder / name); };
}

Step makeFolder(const char *name)
{
    return [=](const TestFolder &folder) { fs::create_directories(folder / name); };
}

/// The watched folder is "up/root". Each of the steps must be told, one after another.
struct StreamCase
{
    const char *name;
    Step prepare;
    std::vector<Step> steps;
};

void PrintTo(const StreamCase &row, std::ostream *out)
{
    *out << row.name;
}

std::string caseName(const testing::TestParamInfo<StreamCase> &info)
{
    return info.param.name;
}

class EventStreamTells : public testing::TestWithParam<StreamCase>
{};

TEST_P(EventStreamTells, eachStep)
{
    const TestFolder folder;
    GetParam().prepare(folder);
    RunningStream stream({folder / "up/root"});
    ASSERT_TRUE(stream.isObserving());
    int step = 0;
    for (const Step &change : GetParam().steps)
        ASSERT_TRUE(stream.tells([&] { change(folder); })) << "step " << step++;
    for (const QString &problem : stream.problems()) // while a root is missing
        EXPECT_TRUE(problem.startsWith(QStringLiteral("Dossier inaccessible"))) << qPrintable(problem);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, EventStreamTells,
    testing::Values(
        StreamCase{"itemsOfTheRoot",
                   makeFolder("up/root"),
                   {write("up/root/a.png"), move("up/root/a.png", "up/root/a.jpg"), write("up/root/a.jpg"),
                    [](const TestFolder &f) { fs::permissions(f / "up/root/a.jpg", fs::perms(0600)); },
                    removeAll("up/root/a.jpg")}},
        StreamCase{"foldersThatAppear",
                   makeFolder("up/root"),
                   {makeFolder("up/root/a/b/c"), write("up/root/a/b/c/file"), removeAll("up/root/a"),
                    makeFolder("up/root/a"), write("up/root/a/file")}},
        StreamCase{"aTreeMovedIn",
                   [](const TestFolder &f) {
                       f.write("tree/b/c/file", "");
                       fs::create_directories(f / "up/root");
                   },
                   {move("tree", "up/root/tree"), write("up/root/tree/b/c/other")}},
        StreamCase{"aTreeMovedWithin",
                   [](const TestFolder &f) { f.write("up/root/a/b/file", ""); },
                   {move("up/root/a", "up/root/z"), write("up/root/z/b/other"), makeFolder("up/root/z/b/c"),
                    write("up/root/z/b/c/file")}},
        StreamCase{"aHiddenTreeShown",
                   [](const TestFolder &f) { f.write("up/root/.a/b/file", ""); },
                   {move("up/root/.a", "up/root/a"), write("up/root/a/b/other")}},
        StreamCase{"theRootDeletedAndMadeAnew",
                   makeFolder("up/root"),
                   {removeAll("up/root"), makeFolder("up/root"), write("up/root/file")}},
        StreamCase{"theRootRenamedAndBack",
                   makeFolder("up/root"),
                   {move("up/root", "up/elsewhere"), move("up/elsewhere", "up/root"), write("up/root/file")}},
        StreamCase{"anotherRootPutInPlace",
                   [](const TestFolder &f) {
                       fs::create_directories(f / "up/root");
                       fs::create_directories(f / "other");
                   },
                   {move("up/root", "former"), move("other", "up/root"), write("up/root/file")}},
        StreamCase{"aFolderAboveRenamedAndReplaced",
                   makeFolder("up/root"),
                   {move("up", "former"), makeFolder("up/root"), write("up/root/file")}},
        StreamCase{"aRootMissingWithItsParents",
                   [](const TestFolder &) {},
                   {makeFolder("up/root"), write("up/root/file")}},
        StreamCase{"aRootThatIsALinkToAnotherFolder",
                   [](const TestFolder &f) {
                       for (const char *name : {"up", "one", "two"})
                           fs::create_directories(f / name);
                       fs::create_directory_symlink(f / "one", f / "up/root");
                       fs::create_directory_symlink(f / "two", f / "up/next");
                   },
                   {write("one/file"), move("up/next", "up/root"), write("two/file")}}),
    caseName);

class EventStreamLeavesOut : public testing::TestWithParam<StreamCase>
{};

TEST_P(EventStreamLeavesOut, theSteps)
{
    const TestFolder folder;
    GetParam().prepare(folder);
    RunningStream stream({folder / "up/root"});
    const TestFolder apart;
    RunningStream other({apart.path()});
    for (const Step &change : GetParam().steps)
        change(folder);
    // By the time that another stream has told later changes of its own, this one would have told its.
    for (const char *name : {"first", "second"}) {
        ASSERT_TRUE(other.tells([&] { apart.write(name, ""); }));
        stream.queue().sync([] {});
    }
    EXPECT_EQ(stream.changes(), 0);
}

Step writeWithoutClosing(const char *name)
{
    return [=, file = std::make_shared<std::ofstream>()](const TestFolder &folder) {
        file->open(folder / name, std::ios::app);
        *file << "more" << std::flush;
    };
}

INSTANTIATE_TEST_SUITE_P(
    Changes, EventStreamLeavesOut,
    testing::Values(
        StreamCase{"hiddenItems",
                   [](const TestFolder &f) { f.write("up/root/.folder/file", ""); },
                   {write("up/root/.file"), write("up/root/.folder/file"), makeFolder("up/root/.new/one")}},
        StreamCase{"packages",
                   [](const TestFolder &f) { f.write("up/root/a.photoslibrary/b/file", ""); },
                   {write("up/root/a.photoslibrary/b/file"), write("up/root/a.photoslibrary/new")}},
        StreamCase{"writesIntoAnOpenFile",
                   [](const TestFolder &f) { f.write("up/root/film.part", ""); },
                   {writeWithoutClosing("up/root/film.part")}},
        StreamCase{"neighboursOfTheRoot",
                   makeFolder("up/root"),
                   {write("up/file"), write("file"), makeFolder("up/other"), removeAll("up/other")}}),
    caseName);

TEST(EventStream, keepsOneWatchAFolderWhateverTheRoots)
{
    const TestFolder folder;
    folder.write("a/b/c/file", "");
    folder.write("d/file", "");
    fs::create_directory_symlink("a", folder / "link");
    RunningStream stream({folder / "a/b/", folder.path(), folder / "./link", folder / "missing"});
    EXPECT_EQ(stream.watchCount(), 5); // the folder itself, a, b, c, d
    ASSERT_TRUE(stream.tells([&] { fs::rename(folder / "d", folder / ".d"); }));
    EXPECT_EQ(stream.watchCount(), 4);
    ASSERT_TRUE(stream.tells([&] { fs::remove_all(folder / "a"); }));
    EXPECT_TRUE(waitFor([&] { return stream.watchCount() == 1; }));
}

TEST(EventStream, tellsWhenAVolumeComesAndGoes)
{
    EXPECT_TRUE(test::holdsWithOwnMounts([] {
        const TestFolder folder;
        fs::create_directories(folder / "root/disk");
        RunningStream stream({folder / "root"});
        const auto mount = [&](const char *place) {
            return stream.tells([&] { ::mount("none", (folder / place).c_str(), "tmpfs", 0, nullptr); });
        };
        const auto unmount = [&](const char *place) {
            return stream.tells([&] { ::umount((folder / place).c_str()); });
        };
        const auto write = [&](const char *name) { return stream.tells([&] { folder.write(name, ""); }); };
        return mount("root/disk") && write("root/disk/a") && unmount("root/disk") && mount("root") &&
               write("root/b") && unmount("root") && waitFor([&] { return stream.watchCount() == 2; }) &&
               write("root/disk/c");
    }));
}

TEST(EventStream, tellsTheNewNamesOfFilesAheadOfTheBatch)
{
    const TestFolder folder;
    folder.write("album/photo.png", "");
    folder.write("album/other.png", "");
    fs::create_directory(folder / "day");
    RunningStream stream({folder.path()});
    fs::rename(folder / "album/photo.png", folder / "album/photo.jpg");
    fs::rename(folder / "album/other.png", folder / "day/other.png"); // to another folder
    fs::rename(folder / "day", folder / "night");                     // a folder
    fs::rename(folder / "album/photo.jpg", folder / "album/photo.gif");
    ASSERT_TRUE(waitFor([&] { return stream.newNames().size() >= 2; }));
    EXPECT_THAT(stream.newNames(),
                testing::ElementsAre(std::pair(folder / "album/photo.png", folder / "album/photo.jpg"),
                                     std::pair(folder / "album/photo.jpg", folder / "album/photo.gif")));
}

TEST(EventStream, isNotCreatedWithoutAFolder)
{
    EXPECT_EQ(EventStream::create({}, {}, {}), nullptr);
    EXPECT_EQ(EventStream::create({fs::path()}, {}, {}), nullptr);
}

TEST(EventStream, findsItsFoldersAgainAfterLostEvents)
{
    const TestFolder folder;
    fs::create_directory(folder / "gone");
    RunningStream stream({folder.path()});
    int queueLength = 0;
    std::ifstream("/proc/sys/fs/inotify/max_queued_events") >> queueLength;
    ASSERT_GT(queueLength, 0);
    ASSERT_TRUE(stream.tells([&] {
        stream.queue().sync([&] {
            // In turn, for the kernel keeps one of two equal events that follow each other.
            for (int number = 0; number <= queueLength; ++number)
                fs::permissions(number % 2 == 0 ? folder.path() : folder / "gone", fs::perms::owner_all);
            fs::remove(folder / "gone");
            fs::create_directories(folder / "new/inside");
        });
    }));
    EXPECT_TRUE(waitFor([&] { return stream.watchCount() == 3; }));
    EXPECT_TRUE(stream.tells([&] { folder.write("new/inside/file", ""); }));
}

TEST(EventStream, watchesWhatTheLimitAllowsAndTellsHowToRaiseIt)
{
    const TestFolder folder;
    for (int number = 0; number < 20; ++number)
        fs::create_directory(folder / std::to_string(number));
    const int room = 60; // the folders above the root take a few
    const auto added = std::make_shared<std::atomic<int>>(0);
    RunningStream stream({folder.path()}, [=](int inotify, const char *path, std::uint32_t mask) {
        if (++*added <= room)
            return ::inotify_add_watch(inotify, path, mask);
        errno = ENOSPC;
        return -1;
    });
    EXPECT_TRUE(stream.isObserving());
    EXPECT_TRUE(stream.problems().isEmpty());
    EXPECT_TRUE(stream.tells([&] {
        for (int number = 20; number < 100; ++number)
            fs::create_directory(folder / std::to_string(number));
    }));
    ASSERT_TRUE(waitFor([&] { return !stream.problems().isEmpty(); }));
    EXPECT_TRUE(stream.tells([&] { folder.write("file", ""); }));
    EXPECT_TRUE(stream.tells([&] { folder.write("7/file", ""); }));
    EXPECT_TRUE(stream.tells([&] { fs::create_directory(folder / "more"); }));
    ASSERT_EQ(stream.problems().size(), 1);
    const QRegularExpression sentence(QStringLiteral(
        "\\AUne partie des dossiers n’est pas surveillée, car la limite du système est atteinte ; pour "
        "l’augmenter : sudo sysctl fs\\.inotify\\.max_user_watches=\\d{6,}\\z"));
    EXPECT_TRUE(sentence.match(stream.problems().front()).hasMatch())
        << qPrintable(stream.problems().front());
}

TEST(EventStream, doesNotStartWhereNothingCanBeWatched)
{
    const TestFolder folder;
    RunningStream stream({folder.path()}, [](int, const char *, std::uint32_t) {
        errno = ENOSPC;
        return -1;
    });
    EXPECT_FALSE(stream.isObserving());
    EXPECT_TRUE(stream.why().contains(QStringLiteral("sudo sysctl fs.inotify.max_user_watches=")));
}

} // namespace

} // namespace quorvalent
