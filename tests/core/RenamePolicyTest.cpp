#include "core/RenamePolicy.h"

#include "core/MediaFamilies.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

struct Refusal
{
    const char *name;
    QString source;
    QString target;
    QString sentence; ///< empty where the rename is accepted
};

void PrintTo(const Refusal &refusal, std::ostream *out)
{
    *out << refusal.name;
}

class RenamePolicyTest : public testing::TestWithParam<Refusal>
{};

TEST_P(RenamePolicyTest, judgesTheExtensions)
{
    const Refusal &row = GetParam();
    const std::optional<QString> expected =
        row.sentence.isEmpty() ? std::nullopt : std::optional(row.sentence);

    EXPECT_EQ(RenameProtection::rejectionReason(row.source, row.target), expected);

    const auto name = [](const QString &extension) {
        return (extension.isEmpty() ? u"/folder.gif/photo"_s : u"/folder.gif/photo."_s + extension)
            .toStdString();
    };
    EXPECT_EQ(RenameProtection::reason({name(row.source), name(row.target), {}}), expected);
}

// clang-format off: one row, one case
const Refusal refusals[] = {
    {"anyLetterCase", u"JPG"_s, u"png"_s, {}},
    {"anyLetterCaseOfTheTarget", u"Png"_s, u"HEIC"_s, {}},
    {"sameFormat", u"PNG"_s, u"png"_s, {}},
    {"variantOfAnImageFormat", u"tif"_s, u"tiff"_s, {}},
    {"variantOfASoundFormat", u"aif"_s, u"aiff"_s, {}},
    {"sound", u"wav"_s, u"ogg"_s, {}},
    {"film", u"m4v"_s, u"webm"_s, {}},
    {"soundToFilm", u"mp3"_s, u"mkv"_s,
     u"Le passage de .mp3 vers .mkv n’est pas pris en charge : photos, audios et vidéos doivent rester dans leur propre famille."_s},
    {"filmToSound", u"MOV"_s, u"Mp3"_s,
     u"Le passage de .mov vers .mp3 n’est pas pris en charge : photos, audios et vidéos doivent rester dans leur propre famille."_s},
    {"imageToFilm", u"gif"_s, u"mp4"_s,
     u"Le passage de .gif vers .mp4 n’est pas pris en charge : photos, audios et vidéos doivent rester dans leur propre famille."_s},
    {"document", u"png"_s, u"pdf"_s, u"Le format de destination .pdf n’est pas pris en charge."_s},
    {"documentInCapitals", u"PNG"_s, u"PDF"_s, u"Le format de destination .pdf n’est pas pris en charge."_s},
    {"lettersBeyondAscii", u"png"_s, u"ÉTÉ"_s, u"Le format de destination .été n’est pas pris en charge."_s},
    {"extensionRemoved", u"png"_s, {}, u"Supprimer l’extension ne convertit pas le fichier."_s},
    {"extensionAdded", {}, u"png"_s, u"Les fichiers sans extension ne sont pas pris en charge."_s},
    {"noExtensionAtAll", {}, {}, u"Les fichiers sans extension ne sont pas pris en charge."_s},
    {"unknownSource", u"txt"_s, u"png"_s, u"Le format .txt n’est pas pris en charge par Quorvalent."_s},
    {"unknownSourceFirst", u"PDF"_s, u"docx"_s, u"Le format .pdf n’est pas pris en charge par Quorvalent."_s},
    {"unknownSourceBeforeRemoval",
     u"pdf"_s,
     {},
     u"Le format .pdf n’est pas pris en charge par Quorvalent."_s},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(Renames, RenamePolicyTest, testing::ValuesIn(refusals),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(MediaFamilies, acceptEachOtherInsideAFamilyOnly)
{
    EXPECT_EQ(imageExtensions().size(), 10);
    EXPECT_EQ(audioExtensions().size(), 8);
    EXPECT_EQ(videoExtensions().size(), 6);

    int accepted = 0;
    for (const QString &source : mediaExtensions()) {
        for (const QString &target : mediaExtensions())
            accepted += RenameProtection::rejectionReason(source, target) ? 0 : 1;
    }
    EXPECT_EQ(accepted, 10 * 10 + 8 * 8 + 6 * 6) << "families overlap or an extension has none";
}

} // namespace

} // namespace quorvalent::test
