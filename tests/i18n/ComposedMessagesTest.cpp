#include "i18n/Localization.h"

#include "console/Options.h"
#include "convert/ConversionWorld.h"
#include "core/ConversionError.h"
#include "core/RenamePolicy.h"
#include "i18n/SourceLiterals.h"
#include "media/AudioWriter.h"
#include "media/ExportPlan.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "platform/EventStream.h"
#include "support/FakeWorld.h"
#include "support/WaitFor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <set>

// Every message that the program composes comes out in every language, parts untouched.

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

// A composed message as the program made it, and what it must have been made of.
struct Message
{
    QString french;
    QString key;
    std::vector<QString> parts;
};

QString filled(const QString &text, const std::vector<QString> &parts)
{
    QString result = text;
    for (std::size_t number = parts.size(); number-- > 0;)
        result.replace(u"{%1}"_s.arg(number), parts[number]);
    return result;
}

void expectInEveryLanguage(const Message &message)
{
    EXPECT_EQ(message.french, filled(message.key, message.parts));
    for (const Localization::Language &language : Localization::languages()) {
        Localization::override = language.code;
        std::vector<QString> parts = message.parts;
        if (message.key.startsWith(u"{0} "_s))
            parts[0] = L(parts[0]);
        const QString translated = Localization::catalog().value(language.code).value(message.key);
        EXPECT_FALSE(translated.isEmpty()) << message.key.toStdString();
        EXPECT_EQ(L(message.french), filled(translated, parts)) << message.french.toStdString();
    }
    Localization::override.reset();
}

// What a part of a message might look like at worst, without a way to tell where another one begins.
QString part(int number)
{
    return u"a'b %1\u0301"_s.arg(number);
}

TEST(ComposedMessages, areReachedThroughTheirTemplates)
{
    const Catalogue::Table english = Localization::catalog().value(u"en"_s);
    std::set<QString> keys;
    for (const SourceLiteral &literal : literalsBelow(QUORVALENT_SOURCE_DIR "/src")) {
        const bool isTemplate = literal.text.contains(u"{0}"_s) && english.contains(literal.text);
        if (literal.callee == "composed" || isTemplate)
            keys.insert(literal.text);
    }
    EXPECT_GT(keys.size(), 40U);
    for (const QString &key : keys) {
        std::vector<QString> parts;
        while (key.contains(u"{%1}"_s.arg(parts.size())))
            parts.push_back(part(static_cast<int>(parts.size())));
        ASSERT_FALSE(parts.empty()) << key.toStdString();
        if (key.startsWith(u"{0} "_s) && key.size() > 20)
            parts[0] =
                u"Le passage de .mp3 vers .mkv n’est pas pris en charge : photos, audios et vidéos doivent "
                u"rester dans leur propre famille."_s;
        expectInEveryLanguage({filled(key, parts), key, parts});
    }
}

TEST(ComposedMessages, ofRefusalsAndFailedConversions)
{
    const QString pdf = u"Le format .pdf n’est pas pris en charge par Quorvalent."_s;
    const QString outcomes[] = {
        u"{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié."_s,
        u"{0} Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. Vérifiez-le dans le Finder."_s,
        u"{0} Le nom d’origine est déjà occupé. Aucun fichier écrasé : « {1} » reste inchangé. Rétablissez son extension manuellement."_s,
        u"{0} Impossible de rétablir le nom d’origine. Le fichier « {1} » n’a pas été converti. Vérifiez son extension et les autorisations du dossier."_s,
    };
    const std::function<void(ConversionWorld &)> acts[] = {
        [](ConversionWorld &) {},
        [](ConversionWorld &world) { world.folder.write("{5}.jpg", "edit"); },
        [](ConversionWorld &world) { world.folder.write("{5}.pdf", "other"); },
        [](ConversionWorld &world) {
            world.files.before = [&](Step step, int) {
                if (step == Step::Move)
                    throw FileError(EACCES, "x");
            };
        },
    };
    for (std::size_t number = 0; number < std::size(outcomes); ++number) {
        ConversionWorld world;
        const RenameJob job = world.renamed("{5}.pdf", "{5}.jpg");
        acts[number](world);
        const QString name = number == 0 ? u"{5}.pdf"_s : u"{5}.jpg"_s;
        expectInEveryLanguage({QString::fromStdString(world.convert(job)), outcomes[number], {pdf, name}});
    }
    expectInEveryLanguage({RenameProtection::rejectionReason(u"png"_s, u"MP3X"_s).value(),
                           u"Le format de destination .{0} n’est pas pris en charge."_s,
                           {u"mp3x"_s}});
    expectInEveryLanguage(
        {RenameProtection::rejectionReason(u"PNG"_s, u"mp3"_s).value(),
         u"Le passage de .{0} vers .{1} n’est pas pris en charge : photos, audios et vidéos doivent rester dans leur propre famille."_s,
         {u"png"_s, u"mp3"_s}});

    ConversionWorld failing;
    failing.duringEngine = [] { throw FileError(EIO, "b.jpg"); };
    expectInEveryLanguage({QString::fromStdString(failing.convert(failing.renamed("a.png", "a.jpg"))),
                           u"{0} Extension d’origine rétablie."_s,
                           {u"Erreur du disque sur « b.jpg »."_s}});
    ConversionWorld stuck;
    stuck.duringEngine = [&stuck] {
        stuck.files.before = [](Step step, int) {
            if (step == Step::Move)
                throw FileError(EACCES, "x");
        };
        throw ConversionError(u"Le moteur n’a produit aucun fichier valide."_s);
    };
    expectInEveryLanguage({QString::fromStdString(stuck.convert(stuck.renamed("a.PNG", "a.jpg"))),
                           u"Conversion impossible. Original intact sous {0} ; rétablissez .{1}."_s,
                           {u"a.jpg"_s, u"PNG"_s}});
    const JobOutcome unexpected =
        outcomeOf([](auto &&...) -> ConversionReport { throw std::runtime_error("vips: bad"); },
                  renamed("a.png", "a.jpg"), {}, {});
    expectInEveryLanguage({unexpected.detail, u"Erreur inattendue : {0}"_s, {u"vips: bad"_s}});
}

TEST(ComposedMessages, ofTheSystemsErrors)
{
    const std::pair<int, QString> errors[] = {
        {ENOENT, u"« {0} » est introuvable."_s},
        {EACCES, u"Accès refusé à « {0} »."_s},
        {EEXIST, u"« {0} » existe déjà."_s},
        {EROFS, u"Le volume de « {0} » est en lecture seule."_s},
        {EIO, u"Erreur du disque sur « {0} »."_s},
        {EFBIG, u"« {0} » est trop volumineux pour ce volume."_s},
        {ENAMETOOLONG, u"Le nom « {0} » est trop long pour ce volume."_s},
        {EBUSY, u"« {0} » est utilisé par le système."_s},
        {ELOOP, u"« {0} » n’est pas un fichier ordinaire."_s},
        {ENOSPC, u"Espace disque insuffisant."_s},
        {EINVAL, u"Erreur du système sur « {0} » : {1}"_s},
    };
    for (const auto &[number, key] : errors) {
        const FileError error(number, "/x/a « b ».png");
        std::vector<QString> parts{u"a « b ».png"_s};
        if (number == EINVAL)
            parts.push_back(QString::fromLocal8Bit(std::strerror(EINVAL)));
        expectInEveryLanguage({error.errorDescription(), key, parts});
    }
}

TEST(ComposedMessages, ofTheModelAndTheWatcher)
{
    const TestFolder folder;
    QStringList problems;
    EventStream::Handlers handlers;
    handlers.onProblem = [&](const QString &problem) { problems.append(problem); };
    handlers.onTreeGone = [](const std::string &) {};
    handlers.onRead = [] {};
    const auto stream = EventStream::create({folder / "gone"}, {}, std::move(handlers));
    ASSERT_TRUE(stream->start());
    ASSERT_TRUE(waitFor([&] { return !problems.isEmpty(); }));
    expectInEveryLanguage(
        {problems.front(), u"Dossier inaccessible : {0}"_s, {displayText(folder / "gone")}});

    FakeWorld world;
    AppModel model(Preferences(), world.services());
    model.enqueue(renamed("a.png", "a.jpg", u"1-1"_s));
    model.enqueue(renamed("b.png", "b.jpg", u"1-2"_s));
    expectInEveryLanguage({model.queuedText(), u"{0} en attente"_s, {u"1"_s}});
    world.convert = [](const RenameJob &, const Preferences &, const Progress &progress) { progress(0.42); };
    QString percentage;
    QObject::connect(&model, &AppModel::jobProgressed, [&] { percentage = model.percentageText(); });
    world.runBackground();
    expectInEveryLanguage({percentage, u"{0} %"_s, {u"42"_s}});
}

TEST(ComposedMessages, ofTheMediaLibraries)
{
    const TestFolder folder;
    const auto refusal = [&](AudioEncoding::Container container, int sampleRate, int channels) {
        try {
            const AudioFormat source{.sampleRate = sampleRate, .channels = channels};
            (void)AudioWriter::create(folder / "s", {container, 128000}, source, 10);
        } catch (const AudioError &error) {
            return error.errorDescription();
        }
        return QString();
    };
    expectInEveryLanguage({refusal(AudioEncoding::Container::Wave, 44100, 2000),
                           u"Ce fichier ne peut pas contenir un son de {0} canaux à {1} Hz."_s,
                           {u"2000"_s, u"44100"_s}});
    expectInEveryLanguage({refusal(AudioEncoding::Container::Mpeg4, 12345, 2),
                           u"Le format AAC n’admet pas la fréquence de {0} Hz."_s,
                           {u"12345"_s}});
    expectInEveryLanguage({refusal(AudioEncoding::Container::Mpeg4, 44100, 40),
                           u"Le format AAC n’admet pas cette disposition de {0} canaux."_s,
                           {u"40"_s}});

    SourceMedia media;
    media.format = u"matroska,webm"_s;
    media.seconds = 1;
    const QString omissions[] = {u"Piste {0} omise : données sans équivalent."_s,
                                 u"Piste {0} omise : sous-titres illisibles."_s,
                                 u"Piste {0} omise : sous-titres en images."_s};
    media.streams.resize(4);
    SourceStream &video = media.streams[0];
    video.kind = SourceStream::Kind::Video;
    video.codec = u"h264"_s;
    video.isDecodable = true;
    video.width = video.height = 64;
    media.streams[1].kind = SourceStream::Kind::Other;
    media.streams[2].kind = SourceStream::Kind::Subtitle;
    media.streams[3].kind = SourceStream::Kind::Subtitle;
    media.streams[3].codec = u"hdmv_pgs_subtitle"_s;
    for (int index = 0; index < 4; ++index)
        media.streams[static_cast<std::size_t>(index)].index = index;
    const std::optional<ExportPlan> plan =
        planExport(media, ExportPreset::HighestQuality, MovieFileType::Mpeg4);
    ASSERT_TRUE(plan && plan->omissions.size() == 3);
    for (int number = 0; number < 3; ++number)
        expectInEveryLanguage({plan->omissions[number], omissions[number], {QString::number(number + 2)}});
}

TEST(ComposedMessages, ofTheCommandLine)
{
    struct Row
    {
        std::vector<std::string> arguments;
        QString key;
        std::vector<QString> parts;
    };
    const Row rows[] = {
        {{"/no {1}"}, u"Le dossier « {0} » n’existe pas."_s, {u"/no {1}"_s}},
        {{"/dev/null"}, u"« {0} » n’est pas un dossier."_s, {u"/dev/null"_s}},
        {{}, u"Aucun dossier à surveiller : l’argument DOSSIER manque (voir --help)."_s, {}},
        {{"-x"}, u"Option inconnue : « {0} » (voir --help)."_s, {u"-x"_s}},
        {{"--video"}, u"L’option {0} demande une valeur (voir --help)."_s, {u"--video"_s}},
        {{"--video=mp4=7"},
         u"Valeur non valide pour --video : « {0} » (attendu : EXT=LEVEL, une extension vidéo et un niveau 0, 1 ou 2)."_s,
         {u"mp4=7"_s}},
        {{"--language=xx"},
         u"Valeur non valide pour --language : « {0} » (attendu : {1})."_s,
         {u"xx"_s, u"en, fr, nl, de, it, es, pt, uk, ru, zh-Hans, ja, ko, hi, km"_s}},
    };
    for (const Row &row : rows) {
        try {
            (void)Options::parse(row.arguments);
            ADD_FAILURE() << row.key.toStdString();
        } catch (const UsageError &error) {
            expectInEveryLanguage({error.errorDescription(), row.key, row.parts});
        }
    }
}

} // namespace

} // namespace quorvalent::test
