#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent {

/// What one start of quorvalent is for.
struct LaunchMode
{
    enum class Action {
        UpdateTest,
        LocalizationTest,
        SelfTest,
        RenderBanner,
        RenderWarning,
        RenderUi,
        Normal,
    };

    Action action = Action::Normal;
    std::filesystem::path output; ///< of a rendering

    bool operator==(const LaunchMode &) const = default;

    /// Reads the arguments after the program's name; those that mean nothing here are for others.
    [[nodiscard]] static LaunchMode of(const std::vector<std::string> &arguments);
};

} // namespace quorvalent
