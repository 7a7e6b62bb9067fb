#include "app/LaunchMode.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using Action = LaunchMode::Action;

TEST(LaunchMode, isDecidedByTheFirstFlagOfTheTable)
{
    struct Row
    {
        std::vector<std::string> arguments;
        LaunchMode mode;
    };
    const Row rows[] = {
        {{}, {}},
        {{"--update-test"}, {Action::UpdateTest, {}}},
        {{"--self-test", "--localization-test"}, {Action::LocalizationTest, {}}},
        {{"x", "--self-test"}, {Action::SelfTest, {}}},
        {{"--render-warning", "/a b", "--update-test"}, {Action::UpdateTest, {}}},
        {{"--render-ui", "u", "--render-warning", "w"}, {Action::RenderWarning, "w"}},
        {{"--render-ui", "u", "--render-banner", "\xff.png"}, {Action::RenderBanner, "\xff.png"}},
        {{"--render-banner"}, {}},
        {{"--render-ui", "u", "--render-banner"}, {Action::RenderUi, "u"}},
        {{"--render-banner", "1", "--render-banner", "2"}, {Action::RenderBanner, "1"}},
        {{"--render-banner", "--render-ui"}, {Action::RenderBanner, "--render-ui"}},
        {{"--Self-Test", "--self-test=1", "--preview-banner", "--settings"}, {}},
    };
    for (const Row &row : rows)
        EXPECT_EQ(LaunchMode::of(row.arguments), row.mode) << testing::PrintToString(row.arguments);
}

} // namespace

} // namespace quorvalent::test
