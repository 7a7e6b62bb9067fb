#include "core/RenameJob.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

struct NameParts
{
    std::filesystem::path path;
    QString extension;
    std::string stem;
};

void PrintTo(const NameParts &parts, std::ostream *out)
{
    *out << parts.path;
}

class NamePartsTest : public testing::TestWithParam<NameParts>
{};

TEST_P(NamePartsTest, areFoundByTheLastDot)
{
    EXPECT_EQ(pathExtension(GetParam().path), GetParam().extension);
    EXPECT_EQ(nameWithoutExtension(GetParam().path).native(), GetParam().stem);
}

INSTANTIATE_TEST_SUITE_P(Names, NamePartsTest,
                         testing::Values(NameParts{"/a.b/photo.PNG", u"PNG"_s, "photo"},
                                         NameParts{"/a.b/photo", u""_s, "photo"},
                                         NameParts{"/a/photo.", u""_s, "photo"},
                                         NameParts{"/a/photo.tar.gz", u"gz"_s, "photo.tar"},
                                         NameParts{"/a/.png", u""_s, ".png"},
                                         NameParts{"/a/.photo.png", u"png"_s, ".photo"},
                                         NameParts{"/a/photo..png", u"png"_s, "photo."},
                                         NameParts{"/a/line\nbreak.j pg", u"j pg"_s, "line\nbreak"},
                                         NameParts{"/a/été.héic", u"héic"_s, "été"},
                                         NameParts{"/a/\xff\xe9.p\xffng", u"p\uFFFDng"_s, "\xff\xe9"}));

} // namespace

} // namespace quorvalent::test
