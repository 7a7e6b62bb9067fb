#include "i18n/AppVersion.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

TEST(AppVersion, writesTheReleaseDateInTheLanguage)
{
    const std::pair<QString, QString> rows[] = {
        {u"fr"_s, u"14 mars 2025"_s},  {u"en"_s, u"March 14, 2025"_s},
        {u"de"_s, u"14. März 2025"_s}, {u"zh-Hans"_s, u"2025年3月14日"_s},
        {u"ja"_s, u"2025年3月14日"_s}, {u"ru"_s, u"14 марта 2025\u202Fг."_s},
        {u"km"_s, u"14 មីនា 2025"_s},   {u"ko"_s, u"2025년 3월 14일"_s},
    };
    for (const auto &[language, date] : rows)
        EXPECT_EQ(AppVersion::releaseDate(u"2025-03-14"_s, language), date) << qPrintable(language);
}

TEST(AppVersion, showsWhatIsNoDateAsItIs)
{
    EXPECT_EQ(AppVersion::releaseDate(std::nullopt, u"fr"_s), u"—"_s);
    for (const QString &stored : {u"14/03/2025"_s, u"2025-02-30"_s, u"soon"_s, QString()})
        EXPECT_EQ(AppVersion::releaseDate(stored, u"fr"_s), stored);
}

TEST(AppVersion, showsADevelopmentVersionWithoutInformation)
{
    // The test programs' bundle has no information.
    EXPECT_EQ(AppVersion::display(), u"1.0 (développement)"_s);
    EXPECT_EQ(AppVersion::releaseDate(), u"—"_s);
}

} // namespace

} // namespace quorvalent::test
