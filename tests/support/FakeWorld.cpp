#include "support/FakeWorld.h"

#include <QCoreApplication>

#include <cerrno>
#include <utility>

namespace quorvalent::test {

namespace {

class RecordingSource : public JobSource
{
public:
    explicit RecordingSource(FakeWorld &world)
        : m_world(world)
    {}

    void start(std::vector<std::filesystem::path> folders, std::function<void()> onWatching) override
    {
        std::string line = "watch";
        for (const std::filesystem::path &folder : folders)
            line += " " + folder.native();
        m_world.log.push_back(line);
        m_world.onWatching.push_back(std::move(onWatching));
    }
    void complete(const QString &identity, const std::optional<FileStamp> &) override
    {
        m_world.log.push_back("complete " + identity.toStdString());
    }

    void locate(const QString &identity) override
    {
        m_world.log.push_back("locate " + identity.toStdString());
    }

private:
    FakeWorld &m_world;
};

void runOne(std::deque<Task> &tasks, std::size_t number = 0)
{
    const Task task = std::move(tasks.at(number));
    tasks.erase(tasks.begin() + static_cast<std::ptrdiff_t>(number));
    task();
}

} // namespace

ModelServices FakeWorld::services()
{
    ModelServices services;
    services.pacing = pacing;
    services.machine = [this] { return machine; };
    services.convert = [this](const RenameJob &job, const Preferences &preferences,
                              const ConversionRun &given) {
        run = given;
        convert(job, preferences, run.progress);
        return report;
    };
    services.isInPlace = [this](const RenameJob &job) { return isInPlace(job); };
    services.makeWatcher = [this](JobSourceHandlers given) {
        handlers = std::move(given);
        return std::make_unique<RecordingSource>(*this);
    };
    services.observePresence = [this](const auto & /*folders*/, const auto &onChange) {
        onMissing = onChange;
        return nullptr;
    };
    services.expireOriginals = [this](std::optional<std::chrono::minutes> most) {
        expiries.push_back(most);
        return nextExpiry;
    };
    services.stopConversions = [this] { log.emplace_back("stop"); };
    services.expect = [this](const RenameJob &job) {
        log.push_back("expect " + job.newURL.filename().native());
    };
    services.refuse = [this](const RenameJob &job, const Error &) {
        log.push_back("give name back " + job.oldURL.filename().native());
    };
    services.inBackground = [this](Task task) {
        if (!hasThreads)
            throw FileError(EAGAIN, "thread");
        m_background.push_back(std::move(task));
    };
    services.later = [this](std::chrono::milliseconds delay, Task task) {
        log.push_back("later " + std::to_string(delay.count()));
        m_later.push_back(std::move(task));
    };
    return services;
}

void FakeWorld::runBackground(std::size_t later)
{
    runOne(m_background, later);
    runMain();
}

void FakeWorld::runLater()
{
    runOne(m_later);
}

RenameJob renamed(const std::string &oldName, const std::string &newName, const QString &identity)
{
    return {"/folder/" + oldName, "/folder/" + newName, FileStamp{identity, 1, {}}};
}

void runMain()
{
    // Twice, for what the posted work posts in turn.
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents();
}

} // namespace quorvalent::test
