#include "console/Options.h"

#include "console/TerminalText.h"
#include "core/MediaFamilies.h"
#include "i18n/Localization.h"
#include "platform/ComposedText.h"

#include <QStringList>

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <system_error>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

// Between the least that speech needs and the most that any of the encoders takes.
constexpr qint64 minimumBitrateKbps = 8;
constexpr qint64 maximumBitrateKbps = 512;
constexpr int mostUndoMinutes = 24 * 60;

constexpr int maximumJobs = 64; // each of them has processes of its own

// An option whose value is EXT=SETTING, for the formats of one family.
struct FormatOption
{
    const char *name;
    const QStringList &(*formats)();
    bool (*store)(Preferences &preferences, const QString &format, const QString &setting);
    QString refusal; ///< of a value
};

bool storeQuality(Preferences &preferences, const QString &format, const QString &setting)
{
    bool valid = false;
    const double fraction = setting.toDouble(&valid);
    // In this direction the comparison also refuses what is no number at all.
    if (!valid || !(fraction >= 0.0 && fraction <= 1.0))
        return false;
    preferences.imageQuality[format] = fraction;
    return true;
}

bool storeBitrate(Preferences &preferences, const QString &format, const QString &setting)
{
    bool valid = false;
    const qint64 kbps = setting.toLongLong(&valid);
    if (!valid || kbps < minimumBitrateKbps || kbps > maximumBitrateKbps)
        return false;
    preferences.audioBitrate[format] = kbps;
    return true;
}

bool storeVideoLevel(Preferences &preferences, const QString &format, const QString &setting)
{
    const auto level = QStringList({u"0"_s, u"1"_s, u"2"_s}).indexOf(setting);
    if (level < 0)
        return false;
    preferences.videoQuality[format] = level;
    return true;
}

const std::array<FormatOption, 3> &formatOptions()
{
    static const std::array<FormatOption, 3> options{{
        {"--quality", &imageExtensions, &storeQuality,
         u"Valeur non valide pour --quality : « {0} » (attendu : EXT=FRACTION, une extension d’image et une "
         u"fraction de 0 à 1)."_s},
        {"--bitrate", &audioExtensions, &storeBitrate,
         u"Valeur non valide pour --bitrate : « {0} » (attendu : EXT=KBPS, une extension audio et un débit "
         u"de 8 à 512 kbit/s)."_s},
        {"--video", &videoExtensions, &storeVideoLevel,
         u"Valeur non valide pour --video : « {0} » (attendu : EXT=LEVEL, une extension vidéo et un niveau "
         u"0, 1 ou 2)."_s},
    }};
    return options;
}

QStringList languageCodes()
{
    QStringList codes;
    for (const Localization::Language &language : Localization::languages())
        codes.append(language.code);
    return codes;
}

QString textOf(std::string_view argument)
{
    return printable(QString::fromUtf8(argument.data(), qsizetype(argument.size())));
}

void readFormatOption(Preferences &preferences, const FormatOption &option, std::string_view value)
{
    const QString text = QString::fromUtf8(value.data(), qsizetype(value.size()));
    const QString format = text.section(u'=', 0, 0).toLower();
    if (!option.formats().contains(format) || !option.store(preferences, format, text.section(u'=', 1)))
        throw UsageError(composed(option.refusal, {textOf(value)}));
}

// Links stay as the user named them, except where ".." makes their target matter.
fs::path absoluteFolder(const std::string &argument)
{
    std::error_code failure;
    const fs::file_status status = fs::status(argument, failure);
    if (status.type() == fs::file_type::not_found)
        throw UsageError(composed(u"Le dossier « {0} » n’existe pas."_s, {textOf(argument)}));
    if (failure)
        throw UsageError(composed(u"Le dossier « {0} » est inaccessible."_s, {textOf(argument)}));
    if (!fs::is_directory(status))
        throw UsageError(composed(u"« {0} » n’est pas un dossier."_s, {textOf(argument)}));

    const fs::path given(argument);
    const bool climbs = std::find(given.begin(), given.end(), "..") != given.end();
    fs::path absolute =
        climbs ? fs::canonical(given, failure) : fs::absolute(given, failure).lexically_normal();
    if (failure)
        throw UsageError(composed(u"Le dossier « {0} » est inaccessible."_s, {textOf(argument)}));
    return absolute.has_filename() ? absolute : absolute.parent_path();
}

// Walks over the arguments; options may stand before, between and after the folders, up to "--".
class Parser
{
public:
    explicit Parser(const std::vector<std::string> &arguments)
        : m_arguments(arguments)
    {}

    Options run()
    {
        while (m_next < m_arguments.size() && m_options.action == Options::Action::Watch) {
            const std::string &argument = m_arguments[m_next++];
            if (m_onlyFolders || argument.size() < 2 || argument.front() != '-')
                addFolder(argument);
            else if (argument == "--")
                m_onlyFolders = true;
            else
                readOption(argument);
        }
        if (m_options.action == Options::Action::Watch && m_options.preferences.folders.empty())
            throw UsageError(u"Aucun dossier à surveiller : l’argument DOSSIER manque (voir --help)."_s);
        return std::move(m_options);
    }

private:
    void addFolder(const std::string &argument)
    {
        fs::path folder = absoluteFolder(argument);
        std::vector<fs::path> &folders = m_options.preferences.folders;
        if (std::find(folders.begin(), folders.end(), folder) == folders.end())
            folders.push_back(std::move(folder));
    }

    void readOption(const std::string &argument)
    {
        const std::string name = argument.substr(0, argument.find('='));
        if (readFlag(argument))
            return;
        if (name == "--language") {
            readLanguage(valueOf(argument));
            return;
        }
        if (name == "--jobs") {
            readJobs(valueOf(argument));
            return;
        }
        if (name == "--undo") {
            readUndo(valueOf(argument));
            return;
        }
        for (const FormatOption &option : formatOptions()) {
            if (name == option.name) {
                readFormatOption(m_options.preferences, option, valueOf(argument));
                return;
            }
        }
        throw UsageError(composed(u"Option inconnue : « {0} » (voir --help)."_s, {textOf(argument)}));
    }

    bool readFlag(const std::string &argument)
    {
        if (argument == "--json")
            m_options.json = true;
        else if (argument == "--keep-original")
            m_options.preferences.keepOriginal = true;
        else if (argument == "--help")
            m_options.action = Options::Action::ShowHelp;
        else if (argument == "--version")
            m_options.action = Options::Action::ShowVersion;
        else
            return false;
        return true;
    }

    void readLanguage(const std::string &code)
    {
        m_options.language = QString::fromStdString(code);
        if (!languageCodes().contains(m_options.language))
            throw UsageError(composed(u"Valeur non valide pour --language : « {0} » (attendu : {1})."_s,
                                      {textOf(code), languageCodes().join(u", "_s)}));
    }

    void readJobs(const std::string &number)
    {
        bool valid = false;
        const int jobs = QString::fromStdString(number).toInt(&valid);
        if (!valid || jobs < 1 || jobs > maximumJobs)
            throw UsageError(
                composed(u"Valeur non valide pour --jobs : « {0} » (attendu : un nombre de 1 à 64)."_s,
                         {textOf(number)}));
        m_options.jobs = jobs;
    }

    void readUndo(const std::string &value)
    {
        bool isNumber = false;
        const int minutes = textOf(value).toInt(&isNumber);
        if (!isNumber || minutes < 0 || minutes > mostUndoMinutes)
            throw UsageError(
                composed(u"Valeur non valide pour --undo : « {0} » (attendu : un nombre de minutes, "
                         u"de 0 à 1440)."_s,
                         {textOf(value)}));
        m_options.preferences.undoSpan = std::chrono::minutes(minutes);
    }

    // Both "--option=value" and "--option value".
    std::string valueOf(const std::string &argument)
    {
        const auto separator = argument.find('=');
        if (separator != std::string::npos)
            return argument.substr(separator + 1);
        if (m_next == m_arguments.size())
            throw UsageError(
                composed(u"L’option {0} demande une valeur (voir --help)."_s, {textOf(argument)}));
        return m_arguments[m_next++];
    }

    const std::vector<std::string> &m_arguments;
    std::size_t m_next = 0;
    bool m_onlyFolders = false;
    Options m_options;
};

} // namespace

Options Options::parse(const std::vector<std::string> &arguments)
{
    return Parser(arguments).run();
}

QString Options::languageOf(const std::vector<std::string> &arguments)
{
    constexpr std::string_view name = "--language";
    QString language = u"system"_s;
    for (std::size_t at = 0; at < arguments.size() && arguments[at] != "--"; ++at) {
        std::string_view argument = arguments[at];
        if (!argument.starts_with(name))
            continue;
        argument.remove_prefix(name.size());
        if (argument.empty() && at + 1 < arguments.size())
            argument = arguments[at + 1];
        else if (argument.starts_with('='))
            argument.remove_prefix(1);
        else
            continue;
        if (const QString code = textOf(argument); languageCodes().contains(code))
            language = code;
    }
    return language;
}

QString helpText()
{
    const QString text = uR"(Usage : quorvalent-watch [OPTIONS] DOSSIER...

Surveille les dossiers, sous-dossiers compris, et convertit chaque fichier dont un
renommage change l’extension, jusqu’à SIGINT (Ctrl-C) ou SIGTERM. Les conversions en
cours et en attente sont alors terminées ; un second signal laisse encore
trois secondes aux premières.

  --keep-original         garder l’original à côté du fichier converti
  --undo MINUTES          garder les originaux remplacés pendant ce temps : renommer dans
                          l’autre sens les rend (30 par défaut, 0 : jamais)
  --quality EXT=FRACTION  qualité d’un format d’image, de 0 à 1 (jpg=0.8)
  --bitrate EXT=KBPS      débit d’un format audio, de 8 à 512 kbit/s (mp3=192)
  --video EXT=LEVEL       niveau d’un format vidéo : 0 maximal, 1 équilibré, 2 compact
  --jobs N                conversions côte à côte, de 1 à 64 (par défaut : selon la
                          machine, dès que quatre fichiers attendent)
  --language CODE         langue des messages :
                          {0}
  --json                  un objet JSON par événement et par ligne
  --help                  afficher cette aide
  --version               afficher la version
  --                      fin des options : la suite ne contient que des dossiers

--quality, --bitrate et --video peuvent être répétées. Rien n’est lu ni écrit dans les
réglages de l’application.
)"_s;
    return composed(L(text), {languageCodes().join(u' ')});
}

} // namespace quorvalent
