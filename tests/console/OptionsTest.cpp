#include "console/Options.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <ostream>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

struct BadUsage
{
    const char *name;
    std::vector<std::string> arguments;
    QString sentence;
};

void PrintTo(const BadUsage &usage, std::ostream *out)
{
    *out << usage.name;
}

class BadUsageTest : public testing::TestWithParam<BadUsage>
{};

TEST_P(BadUsageTest, isRefusedInOneLine)
{
    try {
        (void)Options::parse(GetParam().arguments);
        ADD_FAILURE() << "accepted";
    } catch (const UsageError &error) {
        EXPECT_EQ(error.errorDescription(), GetParam().sentence);
    }
}

// clang-format off: one row, one case
const BadUsage badUsages[] = {
    {"nothing", {}, u"Aucun dossier à surveiller : l’argument DOSSIER manque (voir --help)."_s},
    {"noFolder", {"--json"}, u"Aucun dossier à surveiller : l’argument DOSSIER manque (voir --help)."_s},
    {"missingFolder", {"/", "/no\nsuch\xff"}, u"Le dossier « /no\\u000Asuch\uFFFD » n’existe pas."_s},
    {"emptyFolder", {""}, u"Le dossier «  » n’existe pas."_s},
    {"file", {"/proc/self/status"}, u"« /proc/self/status » n’est pas un dossier."_s},
    {"unknownOption", {"/", "--jason"}, u"Option inconnue : « --jason » (voir --help)."_s},
    {"shortOption", {"-j", "/"}, u"Option inconnue : « -j » (voir --help)."_s},
    {"flagWithValue", {"--json=1", "/"}, u"Option inconnue : « --json=1 » (voir --help)."_s},
    {"optionAfterTheirEnd", {"--", "--json"}, u"Le dossier « --json » n’existe pas."_s},
    {"missingValue", {"/", "--quality"}, u"L’option --quality demande une valeur (voir --help)."_s},
    {"quality",
     {"--quality", "jpg=1.01", "/"},
     u"Valeur non valide pour --quality : « jpg=1.01 » (attendu : EXT=FRACTION, une extension d’image et une fraction de 0 à 1)."_s},
    {"noNumber",
     {"--quality", "jpg=nan", "/"},
     u"Valeur non valide pour --quality : « jpg=nan » (attendu : EXT=FRACTION, une extension d’image et une fraction de 0 à 1)."_s},
    {"otherFamily",
     {"--quality=mp3=0.5", "/"},
     u"Valeur non valide pour --quality : « mp3=0.5 » (attendu : EXT=FRACTION, une extension d’image et une fraction de 0 à 1)."_s},
    {"bitrate",
     {"--bitrate", "mp3=0", "/"},
     u"Valeur non valide pour --bitrate : « mp3=0 » (attendu : EXT=KBPS, une extension audio et un débit de 8 à 512 kbit/s)."_s},
    {"bitrateUnit",
     {"--bitrate", "mp3=192k", "/"},
     u"Valeur non valide pour --bitrate : « mp3=192k » (attendu : EXT=KBPS, une extension audio et un débit de 8 à 512 kbit/s)."_s},
    {"level",
     {"--video", "mp4=3", "/"},
     u"Valeur non valide pour --video : « mp4=3 » (attendu : EXT=LEVEL, une extension vidéo et un niveau 0, 1 ou 2)."_s},
    {"jobs", {"--jobs=0", "/"}, u"Valeur non valide pour --jobs : « 0 » (attendu : un nombre de 1 à 64)."_s},
    {"undo",
     {"--undo", "1441", "/"},
     u"Valeur non valide pour --undo : « 1441 » (attendu : un nombre de minutes, de 0 à 1440)."_s},
    {"language",
     {"--language", "xx", "/"},
     u"Valeur non valide pour --language : « xx » (attendu : en, fr, nl, de, it, es, pt, uk, ru, zh-Hans, ja, ko, hi, km)."_s},
};
// clang-format on

INSTANTIATE_TEST_SUITE_P(CommandLines, BadUsageTest, testing::ValuesIn(badUsages),
                         [](const auto &test) { return std::string(test.param.name); });

TEST(Options, areReadBeforeBetweenAndAfterTheFolders)
{
    const Options options = Options::parse(
        {"--json", "--quality", "JPG=0.5", "/", "--quality=heic=1", "--bitrate", "mp3=192", "--video",
         "mp4=2", "--jobs", "3", "--undo=5", "--keep-original", "--language", "zh-Hans", "--", "/usr"});

    const Preferences expected{true,
                               true,
                               {"/", "/usr"},
                               {{u"jpg"_s, 0.5}, {u"heic"_s, 1.0}},
                               {{u"mp3"_s, 192}},
                               {{u"mp4"_s, 2}},
                               std::chrono::minutes(5),
                               {}};
    EXPECT_EQ(options.preferences, expected);
    EXPECT_TRUE(options.json);
    EXPECT_EQ(options.jobs, 3);
    EXPECT_EQ(options.language, u"zh-Hans"_s);
    EXPECT_EQ(options.action, Options::Action::Watch);
}

TEST(Options, tellTheLanguageEvenWhenTheyAreRefused)
{
    EXPECT_EQ(Options::parse({"/"}).language, u"system"_s);
    const std::pair<std::vector<std::string>, QString> rows[] = {
        {{"--jason", "--language", "de", "/nowhere"}, u"de"_s},
        {{"--help", "--language=zh-Hans"}, u"zh-Hans"_s},
        {{"--language", "xx"}, u"system"_s},
        {{"--language"}, u"system"_s},
        {{"--language", "it", "--language=ko"}, u"ko"_s},
        {{"--", "--language", "de"}, u"system"_s},
        {{"--languagede"}, u"system"_s},
    };
    for (const auto &[arguments, language] : rows)
        EXPECT_EQ(Options::languageOf(arguments), language) << testing::PrintToString(arguments);
}

TEST(Options, needNoFolderForHelpAndVersion)
{
    EXPECT_EQ(Options::parse({"--json", "--help", "--nonsense"}).action, Options::Action::ShowHelp);
    EXPECT_EQ(Options::parse({"--version"}).action, Options::Action::ShowVersion);
}

TEST(Options, nameEachFolderOnceByItsBytesAndLinks)
{
    const TestFolder folder;
    fs::create_directories(folder / "deep\xff/er");
    fs::create_directory_symlink("deep\xff/er", folder / "link");
    const fs::path working = fs::current_path();
    fs::current_path(folder.path());
    const fs::path here = fs::current_path();
    const std::vector<fs::path> folders =
        Options::parse({"deep\xff", (here / "deep\xff//").native(), "./link/.", "link/..", "."})
            .preferences.folders;
    fs::current_path(working);

    // Above the folder that a link leads to is not beside the link.
    EXPECT_EQ(folders, std::vector<fs::path>({here / "deep\xff", here / "link", here}));
}

} // namespace

} // namespace quorvalent::test
