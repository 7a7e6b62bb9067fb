#include "core/WatchedFolders.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using Paths = std::vector<std::filesystem::path>;

TEST(WatchedFolders, holdsNoFolderTwiceAndNoneInsideAnother)
{
    const struct
    {
        Paths before;
        const char *added;
        Paths after;
    } cases[] = {
        {{}, "/A", {"/A"}},
        {{"/A"}, "/A", {"/A"}},
        {{"/A"}, "/A/B", {"/A"}},
        {{"/A/B", "/C", "/A/D/E"}, "/A", {"/C", "/A"}},
        {{"/A"}, "/A2", {"/A", "/A2"}},
        {{"/A"}, "/a", {"/A", "/a"}},
        {{"/"}, "/A", {"/"}},
        {{"/A", "/B"}, "/", {"/"}},
        {{"/A\xff/B"}, "/A\xff", {"/A\xff"}},
    };
    for (const auto &row : cases)
        EXPECT_EQ(WatchedFolders::adding(row.before, row.added), row.after) << row.added;
}

TEST(WatchedFolders, losesEveryEntryThatIsExactlyThisPath)
{
    EXPECT_EQ(WatchedFolders::removing({"/A", "/A/B", "/A", "/A/"}, "/A"), Paths({"/A/B", "/A/"}));
}

} // namespace

} // namespace quorvalent::test
