#include "model/SystemServices.h"

#include "convert/ConversionClaim.h"
#include "convert/Converter.h"
#include "convert/HelperReserve.h"
#include "convert/OriginalsStore.h"
#include "core/MediaFamilies.h"
#include "core/RenamePolicy.h"
#include "model/WatcherSource.h"
#include "platform/FolderPresence.h"
#include "platform/StateFolder.h"

#include <QCoreApplication>
#include <QTimer>

namespace quorvalent {

namespace {

/// The kept originals of this user, with the file operations that they need.
struct Originals
{
    Files files;
    OriginalsStore store{files, StateFolder::path() / "originals"};
};

// From the new name to the conversion it is most of a second: what a helper needs to start.
void expectConversion(HelperReserve &helpers, const std::filesystem::path &from,
                      const std::filesystem::path &to)
{
    const QString source = pathExtension(from).toLower();
    const QString target = pathExtension(to).toLower();
    if (source == target || RenameProtection::rejectionReason(source, target))
        return;
    helpers.expect(imageExtensions().contains(source) ? EngineHelper::Family::Image
                                                      : EngineHelper::Family::Media);
}

} // namespace

ModelServices systemServices()
{
    HelperLimits limits;
    const auto interruption = std::make_shared<Interruption>();
    limits.interruption = interruption;
    const auto helpers =
        std::make_shared<HelperReserve>(HelperPrograms::bundled(), HelperReserve::usualPatience, limits);
    const auto originals = std::make_shared<Originals>();
    ModelServices services;
    const std::filesystem::path claims = StateFolder::path() / "conversions";
    services.convert = [helpers, originals, claims](const RenameJob &job, const Preferences &preferences,
                                                    const ConversionRun &run) {
        const ConversionClaim claim(job, claims, run.cancellation);
        return Converter::convert(
            job, preferences, run, [&](EngineHelper::Family family) { return helpers->take(family); },
            &originals->store);
    };
    services.refuse = &Converter::refuse;
    services.expireOriginals = [originals](std::optional<std::chrono::minutes> most) {
        return originals->store.expire(most);
    };
    services.stopConversions = [interruption] { interruption->request(); };
    services.isInPlace = [](const RenameJob &job) { return job.stamp.isSameFile(job.newURL); };
    services.expect = [helpers](const RenameJob &job) { expectConversion(*helpers, job.oldURL, job.newURL); };
    services.makeWatcher = [helpers](JobSourceHandlers handlers) {
        return std::make_unique<WatcherSource>(
            std::move(handlers),
            [helpers](const std::filesystem::path &from, const std::filesystem::path &to) {
                expectConversion(*helpers, from, to);
            },
            [](const std::filesystem::path &file) { return Converter::isWhatItsNameSays(file); });
    };
    services.observePresence = [](const std::vector<std::filesystem::path> &folders,
                                  FolderPresence::Handler onChange) {
        return std::make_shared<FolderPresence>(folders, std::move(onChange));
    };
    services.machine = &Machine::now;
    services.inBackground = &postToBackground;
    services.later = [](std::chrono::milliseconds delay, Task task) {
        QTimer::singleShot(delay, QCoreApplication::instance(), std::move(task));
    };
    return services;
}

} // namespace quorvalent
