#include "app/ConversionCheck.h"

#include "app/CheckFailure.h"
#include "core/RenamePolicy.h"
#include "model/AppModel.h"
#include "model/SystemServices.h"
#include "platform/CacheFolder.h"
#include "platform/ChildProcess.h"

#include <QEventLoop>
#include <QFile>
#include <QTemporaryDir>
#include <QTimer>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Far more than any step takes; only a program that has come to a stop lets it pass.
constexpr auto patience = 60s;

QByteArray bytesOf(const fs::path &path)
{
    QFile file(path);
    require(file.open(QIODevice::ReadOnly), u"no file: "_s + displayText(path));
    return file.readAll();
}

bool runsExternalEngine(const std::vector<std::string> &arguments)
{
    const std::optional<fs::path> engine = Preferences::ffmpeg();
    require(engine.has_value(), u"the bundle has no external engine"_s);
    ChildCommand command;
    command.program = *engine;
    command.arguments = {"-nostdin", "-loglevel", "error"};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    ChildProcess child(command);
    child.readLines([](const QByteArray &) {});
    return child.wait().isSuccess();
}

// A picture, a tone or both, drawn by the external engine.
void draw(const fs::path &path, const std::vector<std::string> &inputs)
{
    std::vector<std::string> arguments;
    for (const std::string &input : inputs)
        arguments.insert(arguments.end(), {"-f", "lavfi", "-i", input});
    arguments.insert(arguments.end(), {"-pix_fmt", "yuv420p", path.native()});
    require(runsExternalEngine(arguments), u"the external engine cannot make "_s + displayName(path));
}

// The whole program without its windows, on one folder.
class WatchedFolder
{
public:
    explicit WatchedFolder(const fs::path &folder)
        : m_folder(folder)
        , m_model(preferencesFor(folder), systemServices())
    {
        QObject::connect(&m_model, &AppModel::watchingStarted, [this] { m_loop.quit(); });
        QObject::connect(&m_model, &AppModel::jobFinished,
                         [this](const RenameJob &, const JobOutcome &outcome) {
                             m_outcome = outcome;
                             m_loop.quit();
                         });
        m_patience.setSingleShot(true);
        QObject::connect(&m_patience, &QTimer::timeout, [this] { m_loop.exit(1); });
        m_model.start();
        wait(u"the folder is not watched"_s);
    }

    [[nodiscard]] JobOutcome rename(const std::string &from, const std::string &to)
    {
        m_outcome.reset();
        fs::rename(m_folder / from, m_folder / to);
        wait(u"nothing became of "_s + displayText(to));
        require(m_outcome.has_value(), u"the folder was listed anew meanwhile"_s);
        return *m_outcome;
    }

private:
    static Preferences preferencesFor(const fs::path &folder)
    {
        Preferences preferences;
        preferences.folders = {folder};
        preferences.undoSpan = std::chrono::minutes(0); // nothing stays of a check
        return preferences;
    }

    void wait(const QString &otherwise)
    {
        m_patience.start(patience);
        require(m_loop.exec() == 0, otherwise);
    }

    fs::path m_folder;
    QEventLoop m_loop;
    QTimer m_patience;
    std::optional<JobOutcome> m_outcome;
    AppModel m_model;
};

void requireConverted(const JobOutcome &outcome)
{
    if (outcome.failure)
        throw CheckFailure(outcome.failure->message);
}

// A file of the kind that begins with these bytes, with streams that can be decoded from first to last.
bool holds(const fs::path &path, const QByteArray &beginning, const std::vector<std::string> &streams)
{
    std::vector<std::string> arguments = {"-xerror", "-i", path.native()};
    for (const std::string &stream : streams)
        arguments.insert(arguments.end(), {"-map", stream});
    arguments.insert(arguments.end(), {"-f", "null", "-"});
    return bytesOf(path).startsWith(beginning) && runsExternalEngine(arguments);
}

void checkFamilies(const fs::path &folder, WatchedFolder &watched)
{
    requireConverted(watched.rename("photo.png", "photo.jpg"));
    require(holds(folder / "photo.jpg", "\xff\xd8\xff", {"0:v"}), u"photo.jpg is no JPEG"_s);

    requireConverted(watched.rename("sound.wav", "sound.flac"));
    require(holds(folder / "sound.flac", "fLaC", {"0:a"}), u"sound.flac is no FLAC"_s);

    requireConverted(watched.rename("clip.mov", "clip.mkv"));
    require(holds(folder / "clip.mkv", "\x1a\x45\xdf\xa3", {"0:v", "0:a"}), u"clip.mkv is no such clip"_s);
}

void checkRefusal(const fs::path &folder, WatchedFolder &watched)
{
    const QByteArray before = bytesOf(folder / "photo.jpg");
    const JobOutcome refused = watched.rename("photo.jpg", "photo.pdf");
    const std::optional<QString> reason = RenameProtection::rejectionReason(u"jpg"_s, u"pdf"_s);
    require(refused.failure && reason && refused.failure->message.startsWith(*reason),
            u"photo.pdf is not refused for its format: "_s + refused.detail);
    require(!fs::exists(folder / "photo.pdf") && bytesOf(folder / "photo.jpg") == before,
            u"the refused file is not as it was"_s);
}

} // namespace

void checkConversions()
{
    const QTemporaryDir temporary(QFile::decodeName((CacheFolder::existing() / "self-test-XXXXXX").c_str()));
    require(temporary.isValid(), temporary.errorString());
    const fs::path folder = fs::canonical(temporary.path().toStdString());
    draw(folder / "photo.png", {"testsrc2=size=160x120:duration=0.04:rate=25"});
    draw(folder / "sound.wav", {"sine=frequency=440:duration=1"});
    draw(folder / "clip.mov", {"testsrc2=size=160x120:duration=1:rate=25", "sine=frequency=330:duration=1"});

    WatchedFolder watched(folder);
    checkFamilies(folder, watched);
    checkRefusal(folder, watched);
    for (const fs::directory_entry &entry : fs::directory_iterator(folder))
        require(!entry.path().filename().native().starts_with('.'),
                u"left behind: "_s + displayText(entry.path().filename()));
}

} // namespace quorvalent
