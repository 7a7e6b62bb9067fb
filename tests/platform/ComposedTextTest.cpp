#include "platform/ComposedText.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

TEST(ComposedText, putsPartsInAsTheyAre)
{
    EXPECT_EQ(composed(u"Rien à remplir."_s, {}), u"Rien à remplir."_s);
    EXPECT_EQ(composed(u"{0} : {1}, {0}"_s, {u"a"_s, u"b"_s}), u"a : b, a"_s);
    EXPECT_EQ(composed(u"« {0} » et {1}"_s, {u"{1}.png"_s, u"%1 {0}"_s}), u"« {1}.png » et %1 {0}"_s);
    EXPECT_EQ(composed(u"{0}{1}"_s, {QString(), u"x"_s}), u"x"_s);
}

TEST(ComposedText, leavesEverythingElseAlone)
{
    EXPECT_EQ(composed(u"{1} {a} {} { {0"_s, {u"x"_s}), u"{1} {a} {} { {0"_s);
    EXPECT_EQ(composed(u"{{0}}"_s, {u"x"_s}), u"{x}"_s);
}

} // namespace

} // namespace quorvalent::test
