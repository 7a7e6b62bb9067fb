#include "model/SystemServices.h"

#include "convert/Converter.h"
#include "convert/InterruptedWork.h"
#include "platform/FolderRules.h"
#include "watch/RenameWatcher.h"

#include <QCoreApplication>
#include <QTimer>

namespace quorvalent {

namespace {

class WatcherSource : public JobSource
{
public:
    explicit WatcherSource(JobSourceHandlers handlers)
        : m_watcher(std::move(handlers.onRename), std::move(handlers.onProblem))
    {}

    void start(std::vector<std::filesystem::path> folders, std::function<void()> onWatching) override
    {
        m_watcher.start(std::move(folders), std::move(onWatching));
    }
    void complete(const QString &identity) override { m_watcher.complete(identity); }

private:
    RenameWatcher m_watcher;
};

} // namespace

ModelServices systemServices()
{
    ModelServices services;
    services.convert = &Converter::convert;
    services.makeWatcher = [](JobSourceHandlers handlers) {
        return std::make_unique<WatcherSource>(std::move(handlers));
    };
    services.restoreInterruptedWork = [](const std::vector<std::filesystem::path> &folders) {
        return restoreInterruptedWork(folders, &FolderRules::isDescendedInto);
    };
    services.inBackground = &postToBackground;
    services.later = [](std::chrono::milliseconds delay, Task task) {
        QTimer::singleShot(delay, QCoreApplication::instance(), std::move(task));
    };
    return services;
}

} // namespace quorvalent
