#include "convert/ConversionWorld.h"

#include <fstream>
#include <regex>

namespace quorvalent::test {

namespace fs = std::filesystem;

ConversionWorld::ConversionWorld()
{
    const auto engine = [this](const std::string &name) {
        return [this, name](const fs::path &source, const fs::path &output, const Preferences &,
                            const Progress &report) {
            enginesRun += name + " " + source.filename().native() + " " + output.filename().native();
            std::ofstream(output) << "new";
            report(0.5);
            duringEngine();
            return learnt;
        };
    };
    engines.image = engine("image");
    engines.external = engine("external");
    engines.hasExternal = [] { return true; };
    engines.begin = [](const EngineHelper::Reach &, bool) {};
    engines.isOriginalOf = [this](const QString &extension) { return extension == isAlready; };
    engines.matches = [](const fs::path &, const fs::path &) { return true; };
    engines.end = [] {};
}

RenameJob ConversionWorld::renamed(const std::string &oldName, const std::string &newName) const
{
    const fs::path newURL = folder.write(newName, "old");
    return {folder / oldName, newURL, FileStamp::read(newURL)};
}

RenameJob ConversionWorld::renamedAgain(const std::string &oldName, const std::string &newName) const
{
    fs::rename(folder / oldName, folder / newName);
    return {folder / oldName, folder / newName, FileStamp::read(folder / newName)};
}

std::string ConversionWorld::convert(const RenameJob &job)
{
    const Progress note = [this](std::optional<double> done) { progress += std::to_string(*done) + " "; };
    try {
        const ConversionDriver driver(files, engines, keepsRemoved ? &originals : nullptr);
        const ConversionReport report =
            driver.convert(job, preferences, {.progress = note, .cancellation = cancellation});
        std::string text = report.isReturn ? "returned" : "done";
        for (const QString &remark : report.remarks)
            text += " \"" + remark.toStdString() + "\"";
        if (report.original)
            text += ", original at " + report.original->native();
        return shortened(text);
    } catch (const Error &failure) {
        return shortened(failure.what());
    }
}

std::string ConversionWorld::contents() const
{
    std::string text;
    for (const std::string &name : folder.listing()) {
        const bool isFile = fs::symlink_status(folder / name).type() == fs::file_type::regular;
        text += (text.empty() ? "" : ", ") + name;
        text += isFile && !name.ends_with("journal") ? "=" + folder.read(name) : "";
    }
    return shortened(text);
}

std::string ConversionWorld::shortened(std::string text) const
{
    const std::string &path = folder.path().native();
    for (std::size_t at = 0; (at = text.find(path)) != std::string::npos;)
        text.replace(at, path.size(), "…");
    return std::regex_replace(text, std::regex("original-[0-9A-F]{8}\\."), "original-########.");
}

} // namespace quorvalent::test
