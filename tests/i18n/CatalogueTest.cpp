#include "i18n/Catalogue.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

// Small tables with one oddity each.
const Catalogue &catalogue()
{
    static const Catalogue catalogue = Catalogue::fromJson(uR"({
        "en": {
            "Général": "General",
            "Seul l’anglais": "English only",
            "Le format .{0} n’est pas pris en charge par Quorvalent.": "Quorvalent does not support .{0}.",
            "{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié.":
                "{0} Original name restored: “{1}”. The content was not changed.",
            "{0} Extension d’origine rétablie.": "{0} Original extension restored.",
            "{0} en attente": "Waiting: {0}",
            "Export (code {0}).": "Export (code {0}).",
            "Export (code {0}) : {1}": "{1} ← export {0}, {0}",
            "Erreur : {0}": "Error {0} {1}",
            "Rien que {1}": "Only {1}",
            "(a+)[{0}]*": "brackets {0}",
            "é{0}": "accent {0}", "éà{0}": "two accents {0}"
        },
        "de": {
            "Général": "Allgemein",
            "Le format .{0} n’est pas pris en charge par Quorvalent.": "Quorvalent unterstützt .{0} nicht.",
            "{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié.":
                "„{1}“ heißt wieder so. {0}"
        },
        "ja": {},
        "zh-Hans": {
            "{0} Extension d’origine rétablie.": "{0}已恢复原扩展名。",
            "Général": "常规。"
        }
    })"_s.toUtf8());
    return catalogue;
}

struct Translation
{
    const char *name;
    QString language;
    QString source;
    QString shown;
};

void PrintTo(const Translation &row, std::ostream *out)
{
    *out << row.name;
}

class CatalogueTest : public testing::TestWithParam<Translation>
{};

TEST_P(CatalogueTest, translates)
{
    const Translation &row = GetParam();
    EXPECT_EQ(catalogue().text(row.source, row.language), row.shown);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, CatalogueTest,
    testing::Values(
        Translation{"exact", u"de"_s, u"Général"_s, u"Allgemein"_s},
        Translation{"englishWhereTheLanguageLacksIt", u"de"_s, u"Seul l’anglais"_s, u"English only"_s},
        Translation{"englishWhereTheTableIsEmpty", u"ja"_s, u"Général"_s, u"General"_s},
        Translation{"unknownText", u"de"_s, u"Inconnu"_s, u"Inconnu"_s},
        Translation{"template", u"en"_s, u"Le format .pdf n’est pas pris en charge par Quorvalent."_s,
                    u"Quorvalent does not support .pdf."_s},
        Translation{"nestedMessage", u"de"_s,
                    u"Le format .pdf n’est pas pris en charge par Quorvalent. Nom d’origine rétabli : "
                    u"« a.pdf ». Le contenu n’a pas été modifié."_s,
                    u"„a.pdf“ heißt wieder so. Quorvalent unterstützt .pdf nicht."_s},
        Translation{"nestedMessageWithoutKey", u"en"_s,
                    u"FFmpeg : no such codec Extension d’origine rétablie."_s,
                    u"FFmpeg : no such codec Original extension restored."_s},
        Translation{"stopWhereNoSpaceParts", u"zh-Hans"_s,
                    u"FFmpeg : no such codec\n Extension d’origine rétablie."_s,
                    u"FFmpeg : no such codec。已恢复原扩展名。"_s},
        Translation{"oneStopIsEnough", u"zh-Hans"_s, u"Général Extension d’origine rétablie."_s,
                    u"常规。已恢复原扩展名。"_s},
        Translation{"longestTemplateFirst", u"en"_s, u"Export (code 7) : bad (code 8)."_s,
                    u"bad (code 8). ← export 7, 7"_s},
        Translation{"partsThatLookLikePlaceholders", u"en"_s, u"Export (code {1}) : {0}.png"_s,
                    u"{0}.png ← export {1}, {1}"_s},
        Translation{"partOverSeveralLines", u"en"_s, u"Export (code 7) : a\nb\n"_s,
                    u"a\nb\n ← export 7, 7"_s},
        Translation{"emptyPart", u"en"_s, u"Export (code )."_s, u"Export (code )."_s},
        Translation{"placeholderBeyondTheKey", u"en"_s, u"Erreur : x"_s, u"Error x {1}"_s},
        Translation{"noTemplateWithoutTheFirstPlaceholder", u"en"_s, u"Rien que x"_s, u"Rien que x"_s},
        Translation{"onlyTheWholeMessage", u"en"_s, u"Bref : Export (code 7)."_s,
                    u"Bref : Export (code 7)."_s},
        Translation{"nothingAfterTheMessage", u"en"_s, u"Export (code 7).\n"_s, u"Export (code 7).\n"_s},
        Translation{"noCharacterOfTheKeyIsAnOperator", u"en"_s, u"(a+)[x]*"_s, u"brackets x"_s}),
    [](const auto &row) { return std::string(row.param.name); });

TEST(Catalogue, nestsFourTemplatesAndNoMore)
{
    const QString tail = u" Extension d’origine rétablie."_s;
    const QString head = u"Le format .a n’est pas pris en charge par Quorvalent."_s;
    EXPECT_EQ(catalogue().text(head + tail + tail + tail, u"en"_s),
              u"Quorvalent does not support .a."_s + u" Original extension restored."_s.repeated(3));
    EXPECT_EQ(catalogue().text(head + tail.repeated(4), u"en"_s),
              head + u" Original extension restored."_s.repeated(4));
    EXPECT_EQ(catalogue().text(u"Général"_s, u"en"_s, 4), u"General"_s) << "an entry needs no template";
}

TEST(Catalogue, ordersTemplatesByTheCharactersThatPeopleCount)
{
    // The accents of the first key are code points of their own, so that only counting characters makes it
    // the shorter one.
    const Catalogue odd(Catalogue::Tables{
        {u"en"_s, {{u"e\u0301e\u0301e\u0301{0}"_s, u"three"_s}, {u"abcd{0}"_s, u"four"_s}}}});

    ASSERT_EQ(odd.templates().size(), 2U);
    EXPECT_EQ(odd.templates().front().key, u"abcd{0}"_s);
}

TEST(Catalogue, isEmptyWhenItsFileIsNotOne)
{
    for (const char *json :
         {"", "no JSON", "[]", R"({"en": "text"})", R"({"en": {"a": "b"}, "de": {"a": 1}})",
          R"({"en": {"a": "b"}, "de": {"a": ["b"]}})"}) {
        const Catalogue broken = Catalogue::fromJson(json);
        EXPECT_TRUE(broken.tables().isEmpty()) << json;
        EXPECT_TRUE(broken.templates().empty()) << json;
        EXPECT_EQ(broken.text(u"a"_s, u"en"_s), u"a"_s) << json;
    }
}

} // namespace

} // namespace quorvalent::test
