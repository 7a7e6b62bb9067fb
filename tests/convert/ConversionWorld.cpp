#include "convert/ConversionWorld.h"

#include <fstream>
#include <regex>

namespace quorvalent::test {

namespace fs = std::filesystem;

ConversionWorld::ConversionWorld()
{
    const auto engine = [this](const char *name) {
        return [this, name](const fs::path &source, const fs::path &output, const Preferences &,
                            const Progress &report) {
            enginesRun.emplace_back(std::string(name) + " " + source.filename().native() + " → " +
                                    output.filename().native());
            std::ofstream(output) << "converted";
            report(0.5);
            duringEngine();
        };
    };
    engines.image = engine("image");
    engines.external = engine("external");
    engines.hasExternal = [] { return true; };
    engines.imageMatches = [](const fs::path &, const fs::path &) { return true; };
    engines.mediaMatches = engines.imageMatches;
}

RenameJob ConversionWorld::renamed(const fs::path &oldName, const fs::path &newName,
                                   const std::string &bytes) const
{
    const fs::path newURL = folder.write(newName, bytes);
    return {folder / oldName, newURL, FileStamp::read(newURL)};
}

std::string ConversionWorld::convert(const RenameJob &job)
{
    try {
        ConversionDriver(files, engines).convert(job, preferences, [this](std::optional<double> fraction) {
            progress.push_back(fraction.value_or(-1));
        });
        return "done";
    } catch (const Error &failure) {
        return shortened(failure.what());
    }
}

std::vector<std::string> ConversionWorld::contents() const
{
    std::vector<std::string> lines;
    for (const std::string &name : folder.listing()) {
        const bool isFile = fs::symlink_status(folder / name).type() == fs::file_type::regular;
        const bool hasText = isFile && fs::path(name).filename() != "journal";
        lines.push_back(shortened(hasText ? name + "=" + folder.read(name) : name));
    }
    return lines;
}

std::string ConversionWorld::shortened(const std::string &text) const
{
    const std::string marked =
        std::regex_replace(text, std::regex("\\.original-[0-9A-F]{8}\\."), ".original-########.");
    const std::size_t at = marked.find(folder.path().native());
    if (at == std::string::npos)
        return marked;
    return marked.substr(0, at) + "…" + marked.substr(at + folder.path().native().size());
}

} // namespace quorvalent::test
