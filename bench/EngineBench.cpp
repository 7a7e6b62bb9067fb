// What the helper costs: converts a picture by the engine linked in here, by the bundle's helper as the
// program has it, started at the sight of the new name, and by one that is started with the conversion.
// Prints medians as one JSON object: milliseconds of each whole safe replacement, the ratios to the engine
// here, and what a helper takes until it has answered its first question. Arguments: a folder on the disk to
// be measured, a PNG.

#include "convert/HelperReserve.h"
#include "core/ConversionError.h"
#include "engine/ImageCheck.h"
#include "engine/ImageEngine.h"
#include "platform/ChildProcess.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <iostream>
#include <thread>
#include <vector>

namespace {

using namespace quorvalent;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int rounds = 31;

// From a new name to its conversion: the event stream's latency and the watcher's quiet time.
constexpr std::chrono::milliseconds untilConversion(250 + 600);

double milliseconds(const std::function<void()> &work)
{
    const Clock::time_point start = Clock::now();
    work();
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

double medianOf(std::vector<double> values)
{
    std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
    return values[values.size() / 2];
}

Engines enginesHere()
{
    Engines engines;
    engines.begin = [](const EngineHelper::Reach &, bool) {};
    engines.isOriginalOf = [](const QString &) { return false; };
    engines.image = [](const fs::path &source, const fs::path &output, const Preferences &preferences,
                       const Progress &progress) {
        runImageEngine(source, output, preferences.quality(QStringLiteral("jpg")), progress);
        return EngineReport();
    };
    engines.matches = &imageMatches;
    engines.end = [] {};
    return engines;
}

double conversion(
    const fs::path &folder, const fs::path &png, const Engines &engines,
    const std::function<void()> &onNewName = [] {})
{
    const Files files;
    const RenameJob named{folder / "photo.png", folder / "photo.jpg", {}};
    fs::copy_file(png, named.newURL);
    files.flush(named.newURL);
    const RenameJob job{named.oldURL, named.newURL, FileStamp::read(named.newURL)};
    onNewName();
    std::this_thread::sleep_for(untilConversion);
    Preferences preferences;
    preferences.imageQuality.insert(QStringLiteral("jpg"), 0.9);
    const double taken = milliseconds([&] { ConversionDriver(files, engines).convert(job, preferences); });
    fs::remove(job.newURL);
    return taken;
}

// A program that says at once that it was called wrongly: the start of a process and its libraries.
double bareStart(EngineHelper::Family family)
{
    return milliseconds([&] {
        ChildCommand command;
        command.program = HelperPrograms::bundled().of(family);
        command.arguments = {"unknown"};
        ChildProcess(command).wait();
    });
}

double firstAnswer(const fs::path &folder, EngineHelper::Family family)
{
    return milliseconds([&] {
        EngineHelper helper(HelperPrograms::bundled().of(family));
        helper.begin({folder, {}});
        try {
            (void)helper.matches({.files = {"missing.png", "missing.jpg"}});
        } catch (const Error &) {
            if (helper.isLost())
                throw; // that there is no such file is an answer
        }
    });
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: bench-engine FOLDER PNG\n";
        return 2;
    }
    const QCoreApplication application(argc, argv); // threads with a loop need it
    try {
        const fs::path folder = fs::absolute(argv[1]) / "engine";
        fs::remove_all(folder);
        fs::create_directories(folder);
        const fs::path png = fs::absolute(argv[2]);
        HelperReserve helpers;
        const HelperSource take = [&](EngineHelper::Family family) { return helpers.take(family); };
        std::vector<double> here;
        std::vector<double> caged;
        std::vector<double> ratios;
        std::vector<double> unexpected;
        std::vector<double> starts;
        std::vector<double> mediaStarts;
        std::vector<double> media;
        std::vector<double> images;
        const auto byEngineHere = [&] { return conversion(folder, png, enginesHere()); };
        const auto byHelper = [&] {
            return conversion(folder, png, HelperEngines::forDriver(take),
                              [&] { helpers.expect(EngineHelper::Family::Image); });
        };
        (void)byEngineHere(); // the program that stays in memory has its library ready
        for (int round = 0; round < rounds; ++round) {
            if (round % 2 == 0)
                here.push_back(byEngineHere());
            caged.push_back(byHelper());
            if (round % 2 != 0)
                here.push_back(byEngineHere());
            ratios.push_back(caged.back() / here.back());
            unexpected.push_back(conversion(folder, png, HelperEngines::forDriver()));
            starts.push_back(bareStart(EngineHelper::Family::Image));
            mediaStarts.push_back(bareStart(EngineHelper::Family::Media));
            media.push_back(firstAnswer(folder, EngineHelper::Family::Media));
            images.push_back(firstAnswer(folder, EngineHelper::Family::Image));
        }
        const QJsonObject medians{
            {QStringLiteral("ratio"), medianOf(ratios)},
            {QStringLiteral("in process"), medianOf(here)},
            {QStringLiteral("by helper"), medianOf(caged)},
            {QStringLiteral("not started ahead"), medianOf(unexpected)},
            {QStringLiteral("start"), medianOf(starts)},
            {QStringLiteral("start for media"), medianOf(mediaStarts)},
            {QStringLiteral("with cage"), medianOf(media)},
            {QStringLiteral("with libvips"), medianOf(images)},
        };
        std::cout << QJsonDocument(medians).toJson(QJsonDocument::Compact).toStdString() << '\n';
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception &failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
