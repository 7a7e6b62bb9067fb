// What a conversion costs around its engine: converts a 5 MB photo with an engine that only writes as many
// bytes again, and prints the median milliseconds of each part as one JSON object. Argument: a folder on the
// disk to be measured.

#include "convert/ConversionDriver.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iostream>
#include <map>
#include <random>

namespace {

using namespace quorvalent;
namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using Parts = std::map<std::string, double>;

constexpr std::size_t photoBytes = 5'000'000;
constexpr int rounds = 25;

/// The real file operations, each adding its time to the part it belongs to.
class TimedFiles : public Files
{
public:
    explicit TimedFiles(Parts &parts)
        : m_parts(parts)
    {}

    void copy(const fs::path &from, const fs::path &to) const override
    {
        timed("copy", [&] { Files::copy(from, to); });
    }
    void createPrivateFolder(const fs::path &path) const override
    {
        timed("folder", [&] { Files::createPrivateFolder(path); });
    }
    void flush(const fs::path &path) const override
    {
        const bool isOutput = path.stem() == "output";
        timed(isOutput ? "flush of the result" : "flush of journal and names", [&] { Files::flush(path); });
    }
    void carryOverAttributes(const fs::path &original, const fs::path &result) const override
    {
        timed("attributes", [&] { Files::carryOverAttributes(original, result); });
    }
    void moveNoReplace(const fs::path &from, const fs::path &to) const override
    {
        timed("swap", [&] { Files::moveNoReplace(from, to); });
    }
    void remove(const fs::path &path) const override
    {
        timed("removal", [&] { Files::remove(path); });
    }
    void removeTree(const fs::path &path) const override
    {
        timed("removal", [&] { Files::removeTree(path); });
    }
    bool isOpenForWriting(const fs::path &path) const override
    {
        bool isOpen = false;
        timed("checks", [&] { isOpen = Files::isOpenForWriting(path); });
        return isOpen;
    }

    void timed(const char *part, const std::function<void()> &operation) const
    {
        const Clock::time_point start = Clock::now();
        operation();
        m_parts[part] += std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }

private:
    Parts &m_parts;
};

std::string photo()
{
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same bytes in each run
    std::string bytes(photoBytes, '\0');
    std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
    return bytes;
}

Parts measure(const fs::path &folder, const std::string &bytes)
{
    Parts parts;
    const TimedFiles files(parts);
    Parts engine;
    const TimedFiles engineClock(engine);
    Engines engines;
    engines.image = [&](const fs::path &, const fs::path &output, const Preferences &, const Progress &) {
        engineClock.timed("engine", [&] { std::ofstream(output, std::ios::binary) << bytes; });
        return EngineReport();
    };
    engines.begin = [](const EngineHelper::Reach &, bool) {};
    engines.isOriginalOf = [](const QString &) { return false; };
    engines.matches = [](const fs::path &, const fs::path &) { return true; };
    engines.end = [] {};

    const RenameJob named{folder / "photo.png", folder / "photo.jpg", {}};
    std::ofstream(named.newURL, std::ios::binary) << bytes;
    files.Files::flush(named.newURL);
    const RenameJob job{named.oldURL, named.newURL, FileStamp::read(named.newURL)};

    const Clock::time_point start = Clock::now();
    ConversionDriver(files, engines).convert(job, {});
    const double total = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    double accounted = 0;
    for (const auto &[part, milliseconds] : parts)
        accounted += milliseconds;
    parts["stamps and journal"] = total - engine["engine"] - accounted;
    parts["total"] = total - engine["engine"];
    fs::remove(job.newURL);
    return parts;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 2) {
        std::cerr << "usage: bench-replacement FOLDER\n";
        return 2;
    }
    try {
        const fs::path folder = fs::path(argv[1]) / "replacement";
        fs::create_directories(folder);
        const std::string bytes = photo();
        std::map<std::string, std::vector<double>> samples;
        for (int round = 0; round < rounds; ++round) {
            for (const auto &[part, milliseconds] : measure(folder, bytes))
                samples[part].push_back(milliseconds);
        }
        QJsonObject medians;
        for (auto &[part, values] : samples) {
            std::ranges::nth_element(values, values.begin() + rounds / 2);
            medians.insert(QString::fromStdString(part), values[rounds / 2]);
        }
        std::cout << QJsonDocument(medians).toJson(QJsonDocument::Compact).toStdString() << '\n';
        fs::remove_all(folder);
        return 0;
    } catch (const std::exception &failure) {
        std::cerr << failure.what() << '\n';
        return 1;
    }
}
