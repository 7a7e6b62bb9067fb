#include "i18n/Catalogue.h"
#include "i18n/Localization.h"
#include "i18n/SourceLiterals.h"

#include <QDirIterator>
#include <QFile>
#include <QRegularExpression>

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>

// Reads the sources, and fails for a text that a person could see and no catalogue would translate.

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

Catalogue::Table english()
{
    QFile file(QStringLiteral(QUORVALENT_SOURCE_DIR "/resources/Translations.json"));
    return file.open(QIODevice::ReadOnly) ? Catalogue::fromJson(file.readAll()).tables().value(u"en"_s)
                                          : Catalogue::Table();
}

// Whether a person could have written it for another one.
bool readsAsText(const SourceLiteral &literal)
{
    static const QRegularExpression sentence(uR"re([^\x00-\x7F])re"         // French needs more than ASCII
                                             uR"re(|\pL[\pL,;:.’]* +\pL)re" // two words
                                             uR"re(|\pL{2}[.!?…]$)re"_s);   // their end
    static const QRegularExpression label(uR"re(^\p{Lu}\p{Ll}+[.:…!?]?$)re" // one word
                                          uR"re(|^(about|updates)\.\w+$)re"_s); // an identifier key
    return sentence.match(literal.text).hasMatch() ||
           (literal.isText && label.match(literal.text).hasMatch());
}

bool isNameOfLanguage(const QString &text)
{
    return std::any_of(Localization::languages().begin(), Localization::languages().end(),
                       [&](const Localization::Language &language) { return language.name == text; });
}

// Programs and checks that only the makers run speak English.
bool isForMaintainers(const std::string &file)
{
    return file.starts_with("publish/") || (file.starts_with("app/") && file.ends_with("Check.cpp"));
}

// What reads like a text and is none, or is for developers only.
const std::map<QString, const char *> &otherTexts()
{
    constexpr const char *inFiles = "a name or a mark inside media files";
    constexpr const char *ofFfmpeg = "of FFmpeg's log";
    constexpr const char *ofLibraries = "of an image library's errors";
    constexpr const char *layout = "no words";
    constexpr const char *system = "a name that the system gives";
    constexpr const char *ours = "a name inside our own files";
    constexpr const char *inPictures = "a file in a picture of the windows";
    static const std::map<QString, const char *> texts{
        {u"]   …   "_s, layout},
        {u"libheif-plugin-x265 (libheif, x265)"_s, system},
        {u" → "_s, layout},
        {u"—"_s, layout},
        {u"quorvalent original 1"_s, ours},
        {u"quorvalent replacement 1"_s, ours},
        {u"Error while decoding stream"_s, ofFfmpeg},
        {u"Error submitting packet to decoder"_s, ofFfmpeg},
        {u"Decoding error"_s, ofFfmpeg},
        {u"error while decoding MB"_s, ofFfmpeg},
        {u"Error at MB"_s, ofFfmpeg},
        {u"CRC mismatch"_s, ofFfmpeg},
        {u"exceeds containing master element"_s, ofFfmpeg},
        {u"exceeds max length"_s, ofFfmpeg},
        {u"Invalid NAL unit size"_s, ofFfmpeg},
        {u"output."_s, ours},
        {u"animation frame: delay "_s, ours},
        {u"(?:^|\\n)animation frame: delay (\\d{1,8}) ms(?:, loops (\\d{1,6}))?$"_s, ours},
        {u"Help"_s, ours},
        {u"Vacances-sur-la-côte.mp4"_s, inPictures},
        {u"MOV → MP4"_s, inPictures},
        {u"Un très long nom de fichier rapporté de vacances au bord de la mer, été 2026.webp"_s, inPictures},
        {u"• Pictures are ready sooner.\n• Folders can be sorted."_s, inPictures},
        {u"/home/camille/Vidéos/Vacances au bord de la mer 2026/À trier"_s, inPictures},
        {u" (?=[:;!?%»])"_s, layout},
        {u"(?<=[«\ufe0f]) "_s, layout},
        {u"\u00a0"_s, layout},
        {u" — "_s, layout},
        {u" · "_s, layout},
        {u"Read"_s, system},
        {u"Get"_s, system},
        {u"Activate"_s, system},
        {u"Inhibit"_s, system},
        {u"Uninhibit"_s, system},
        {u"Response"_s, system},
        {u"D-Bus Interface"_s, system},
        {u"Desktop Entry"_s, system},
        {u"Noto Sans CJK SC"_s, system},
        {u"Noto Sans CJK JP"_s, system},
        {u"Noto Sans CJK KR"_s, system},
        {u"Noto Sans Devanagari"_s, system},
        {u"Noto Sans Khmer"_s, system},
        {u"Noto Sans Mono"_s, system},
        {u"DejaVu Sans Mono"_s, system},
        {u"No space left on device"_s, ofFfmpeg},
        {u"Estimating duration from bitrate"_s, ofFfmpeg},
        {u": out of memory"_s, ofLibraries},
        {u": Out of memory"_s, ofLibraries},
        {u": Insufficient memory"_s, ofLibraries},
        {u": No space for "_s, ofLibraries},
        {u"heif: Memory allocation error: Unspecified"_s, ofLibraries},
        {u"unix error: Cannot allocate memory"_s, ofLibraries},
        {u"mdtacom."_s, inFiles},
        {u"Raw profile type iptc\0\0"_s, inFiles},
        {u"-Raw profile type iptc"_s, inFiles},
        {u"Encryption"_s, inFiles},
        {u"com."_s, inFiles},
        {u"M4A isomiso2mp42"_s, inFiles},
        {u"ENCODING PARAMS"_s, inFiles},
        {u"COVER ART (FRONT)"_s, inFiles},
        {u"UNSYNCED LYRICS"_s, inFiles},
        {u"ALBUM ARTIST"_s, inFiles},
        {u"[.!?…。！？]$"_s, "a pattern"},
        {u"the symbol %s is not in the program"_s, "for the developer of a view"},
    };
    return texts;
}

TEST(SourceLiterals, areFoundAsTheCompilerReadsThem)
{
    const auto literals = literalsOf(uR"cpp(
        #include "no/literal.h"
        // "no", it's a comment
        char c = '"'; int n = 1'000; /* "no
        */ f(u"a\"b\u2019\n"_s, "second");
        L(u"one " // between
          u"two"_s + x, QStringLiteral("three")); throw Error( uR"x(raw "(" \n)x"_s);
    )cpp"_s,
                                     "file.cpp");
    std::vector<std::string> found;
    found.reserve(literals.size());
    for (const SourceLiteral &literal : literals)
        found.push_back(literal.callee + '/' + std::to_string(literal.line) + '/' +
                        literal.text.toStdString());
    EXPECT_EQ(found, std::vector<std::string>({"f/5/a\"b’\n", "/5/second", "L/6/one two",
                                               "QStringLiteral/7/three", "Error/7/raw \"(\" \\n"}));
}

TEST(SourceTexts, haveAKeyOfTheCatalogue)
{
    const Catalogue::Table keys = english();
    ASSERT_FALSE(keys.isEmpty());
    std::set<QString> texts;
    std::set<QString> excused;
    for (const SourceLiteral &literal : literalsBelow(QUORVALENT_SOURCE_DIR "/src")) {
        const bool isShown = literal.callee == "L" || literal.callee == "composed";
        if (!isShown &&
            (!readsAsText(literal) || isNameOfLanguage(literal.text) || isForMaintainers(literal.file)))
            continue;
        if (keys.contains(literal.text)) {
            texts.insert(literal.text);
            continue;
        }
        EXPECT_TRUE(!isShown && otherTexts().contains(literal.text))
            << literal.file << ':' << literal.line << ": " << literal.text.toStdString();
        excused.insert(literal.text);
    }
    EXPECT_GT(texts.size(), 100U) << "the sources were not read";
    for (const auto &[text, reason] : otherTexts())
        EXPECT_TRUE(excused.contains(text)) << "no longer in the sources: " << text.toStdString();
}

// Files that the build makes from the catalogue name its keys in quotes.
QString packagingSources()
{
    QString texts;
    for (QDirIterator files(QStringLiteral(QUORVALENT_SOURCE_DIR "/packaging"), QDir::Files,
                            QDirIterator::Subdirectories);
         files.hasNext();) {
        QFile file(files.next());
        if (file.open(QIODevice::ReadOnly))
            texts += QString::fromUtf8(file.readAll());
    }
    return texts;
}

TEST(CatalogueKeys, areAllUsed)
{
    std::set<QString> used;
    for (const SourceLiteral &literal : literalsBelow(QUORVALENT_SOURCE_DIR "/src"))
        used.insert(literal.text);
    const QString packaging = packagingSources();
    const Catalogue::Table keys = english();
    for (auto entry = keys.begin(); entry != keys.end(); ++entry) {
        EXPECT_TRUE(used.contains(entry.key()) || packaging.contains(u'"' + entry.key() + u'"'))
            << "no source uses the text: " << entry.key().toStdString();
    }
}

} // namespace

} // namespace quorvalent::test
