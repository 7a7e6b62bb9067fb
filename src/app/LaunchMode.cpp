#include "app/LaunchMode.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace quorvalent {

namespace {

struct Flag
{
    std::string_view name;
    LaunchMode::Action action;
    bool takesPath;
};

// The first flag of this table that is there decides, wherever it stands.
constexpr std::array<Flag, 6> flags{{
    {"--update-test", LaunchMode::Action::UpdateTest, false},
    {"--localization-test", LaunchMode::Action::LocalizationTest, false},
    {"--self-test", LaunchMode::Action::SelfTest, false},
    {"--render-banner", LaunchMode::Action::RenderBanner, true},
    {"--render-warning", LaunchMode::Action::RenderWarning, true},
    {"--render-ui", LaunchMode::Action::RenderUi, true},
}};

} // namespace

LaunchMode LaunchMode::of(const std::vector<std::string> &arguments)
{
    for (const Flag &flag : flags) {
        const auto found = std::find(arguments.begin(), arguments.end(), flag.name);
        if (found == arguments.end())
            continue;
        if (!flag.takesPath)
            return {flag.action, {}};
        if (std::next(found) != arguments.end())
            return {flag.action, *std::next(found)};
    }
    return {};
}

} // namespace quorvalent
