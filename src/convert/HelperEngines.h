#pragma once

#include "convert/ConversionDriver.h"
#include "convert/EngineHelper.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace quorvalent {

/// The programs that helpers run.
struct HelperPrograms
{
    std::filesystem::path image;
    std::filesystem::path media;

    /// Those of the application bundle.
    [[nodiscard]] static HelperPrograms bundled();

    [[nodiscard]] const std::filesystem::path &of(EngineHelper::Family family) const
    {
        return family == EngineHelper::Family::Image ? image : media;
    }
};

/// Hands out a helper that has not begun; ConversionError when there is none. Called on a conversion's
/// thread.
using HelperSource = std::function<std::unique_ptr<EngineHelper>(EngineHelper::Family)>;

/// The engines of one conversion, run by a helper of its own. A helper that was lost is replaced by another
/// when the next engine gets its turn. One conversion's thread.
class HelperEngines
{
public:
    /// The image library may use `threads`; 0 leaves it to the library.
    explicit HelperEngines(HelperSource helpers = starting(HelperPrograms::bundled()), int threads = 0);

    /// Starts one of these programs on the thread that asks.
    [[nodiscard]] static HelperSource starting(HelperPrograms programs);
    [[nodiscard]] static HelperSource starting(HelperPrograms programs, HelperLimits limits);

    /// Gets the helper ahead of its first request; ConversionError when there is none. The engines' files all
    /// lie in the reach's work folder.
    void begin(const EngineHelper::Reach &reach, EngineHelper::Family family);

    /// Whether the original is of the format that an extension names, whatever it is called; throws
    /// ConversionError.
    [[nodiscard]] bool isOriginalOf(const QString &extension);

    /// Runs one engine with the preferences for the output's extension and returns what it learnt; throws
    /// ConversionError.
    EngineReport convert(EngineProtocol::EngineKind engine, const std::filesystem::path &source,
                         const std::filesystem::path &output, const Preferences &preferences,
                         const Progress &progress);

    /// Whether the output holds what the source holds; throws ConversionError.
    [[nodiscard]] bool matches(const std::filesystem::path &source, const std::filesystem::path &output);

    /// Ends the helper and everything that it started.
    void end() { m_helper.reset(); }

    /// Those of the driver, run by a helper.
    [[nodiscard]] static Engines forDriver(HelperSource helpers = starting(HelperPrograms::bundled()),
                                           int threads = 0);

private:
    EngineHelper &helper();
    void replaceHelper();

    HelperSource m_helpers;
    int m_threads;
    EngineHelper::Reach m_reach;
    EngineHelper::Family m_family = EngineHelper::Family::Media;
    std::unique_ptr<EngineHelper> m_helper;
};

} // namespace quorvalent
