#include "platform/FolderPresence.h"

#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <gtest/gtest.h>

namespace quorvalent::test {
namespace {

namespace fs = std::filesystem;

TEST(FolderPresenceTest, followsFoldersThatComeAndGo)
{
    const TestFolder home;
    fs::create_directories(home / "a/b");
    std::vector<std::vector<fs::path>> told;
    const FolderPresence presence({home / "a/b", home / "c"},
                                  [&](const std::vector<fs::path> &missing) { told.push_back(missing); });
    const auto tells = [&](const std::vector<fs::path> &missing) {
        return waitFor([&] { return !told.empty() && told.back() == missing; });
    };
    EXPECT_TRUE(tells({home / "c"}));
    fs::create_directory(home / "c");
    EXPECT_TRUE(tells({}));
    fs::rename(home / "a", home / "elsewhere");
    EXPECT_TRUE(tells({home / "a/b"}));
    fs::rename(home / "elsewhere", home / "a");
    EXPECT_TRUE(tells({}));
    fs::remove(home / "c");
    home.write("c", "no folder");
    EXPECT_TRUE(tells({home / "c"}));
}

} // namespace
} // namespace quorvalent::test
