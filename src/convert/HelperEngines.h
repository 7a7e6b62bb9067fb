#pragma once

#include "convert/ConversionDriver.h"
#include "convert/EngineHelper.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The engines of one conversion, run by a helper that is started for it. A helper that was lost is replaced
/// by a new one when the next engine gets its turn. One conversion's thread.
class HelperEngines
{
public:
    explicit HelperEngines(std::filesystem::path program = bundledProgram());

    /// The helper program of the application bundle.
    [[nodiscard]] static std::filesystem::path bundledProgram();

    /// Starts the helper ahead; ConversionError when that cannot be done. The engines' files all lie in
    /// `mediaFolder`.
    void begin(const std::filesystem::path &mediaFolder, EngineHelper::Family family);

    /// Runs one engine with the preferences for the output's extension; throws ConversionError.
    void convert(EngineProtocol::EngineKind engine, const std::filesystem::path &source,
                 const std::filesystem::path &output, const Preferences &preferences,
                 const Progress &progress);

    /// Whether the output holds what the source holds; throws ConversionError.
    [[nodiscard]] bool matches(const std::filesystem::path &source, const std::filesystem::path &output);

    /// Ends the helper and everything that it started.
    void end() { m_helper.reset(); }

    /// Those of the driver, run by a helper.
    [[nodiscard]] static Engines forDriver(const std::filesystem::path &program = bundledProgram());

private:
    EngineHelper &helper();

    std::filesystem::path m_program;
    std::filesystem::path m_mediaFolder;
    EngineHelper::Family m_family = EngineHelper::Family::Media;
    std::optional<EngineHelper> m_helper;
};

} // namespace quorvalent
