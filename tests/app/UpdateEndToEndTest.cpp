#include "core/Preferences.h"
#include "platform/SettingsFile.h"
#include "support/HttpServer.h"
#include "support/TestArchive.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/WaitFor.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <csignal>
#include <fstream>

// The program replaces itself, as a user sees it: version 1 watches and converts, finds version 2 on a
// server, waits for its conversion, and version 2 goes on.

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr int attempts = 20;

QString text(const fs::path &path)
{
    return QString::fromStdString(path.native());
}

std::string bytesOf(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// The process that runs this file; 0 when there is none.
pid_t processOf(const fs::path &program)
{
    std::error_code ignored; // processes come and go
    for (const fs::directory_entry &entry : fs::directory_iterator("/proc")) {
        if (fs::read_symlink(entry.path() / "exe", ignored) == program)
            return static_cast<pid_t>(std::stol(entry.path().filename().native()));
    }
    return 0;
}

class UpdateEndToEndTest : public testing::Test
{
protected:
    UpdateEndToEndTest()
    {
        Preferences preferences;
        preferences.folders = {folder.path()};
        SettingsFile settings(text(home / "config/quorvalent/quorvalent.conf"));
        settings.set(u"preferences"_s, preferences.encoded().value_or(QByteArray()));
        settings.set(u"language"_s, u"fr"_s);
        fs::create_directory(home / "runtime");
        fs::permissions(home / "runtime", fs::perms::owner_all);
    }

    ~UpdateEndToEndTest() override
    {
        program.kill();
        program.waitForFinished();
        if (const pid_t process = processOf(bundle() / "bin/quorvalent"))
            ::kill(process, SIGKILL);
    }

    [[nodiscard]] fs::path bundle() const { return home / "app"; }
    [[nodiscard]] fs::path secretKey() const { return home / "secret"; }
    /// The conversion of a video takes from the one file's appearance to the other's.
    [[nodiscard]] fs::path started() const { return home / "started"; }
    [[nodiscard]] fs::path goOn() const { return home / "go on"; }

    /// What the publisher's program answers.
    static QByteArray published(const QStringList &arguments)
    {
        QProcess publish;
        publish.start(QStringLiteral(QUORVALENT_PUBLISH_PROGRAM), arguments);
        EXPECT_TRUE(publish.waitForFinished());
        EXPECT_EQ(publish.exitCode(), 0) << publish.readAllStandardError().toStdString();
        return publish.readAllStandardOutput();
    }

    /// The bundle of this build as a given version, with some program in it.
    void makeBundle(const fs::path &place, const QString &version, const fs::path &itsProgram) const
    {
        fs::create_directories(place / "bin");
        fs::copy(fs::path(QUORVALENT_BUNDLE) / "Contents", place / "Contents",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
        fs::copy_file(itsProgram, place / "bin/quorvalent");
        QFile file(text(place / "Contents/Info.json"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        QJsonObject information = QJsonDocument::fromJson(file.readAll()).object();
        file.close();
        information["QuorvalentDisplayVersion"_L1] = version;
        information["SUFeedURL"_L1] = server.url("/feed").toString();
        information["SUPublicEDKey"_L1] = publicKey;
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(QJsonDocument(information).toJson());
    }

    /// Makes conversions take as long as the test looks at them.
    void delayEngine() const
    {
        const auto quoted = [](const fs::path &path) { return '"' + path.native() + '"'; };
        const fs::path engine = bundle() / "Contents/Helpers/quorvalent-engine";
        const fs::path real = bundle() / "Contents/Helpers/engine";
        fs::rename(engine, real);
        // Engines are started ahead: the first byte that comes in is a conversion's.
        std::ofstream(engine) << "#!/bin/sh\nfirst=" + quoted(home / "first") + ".$$\n" +
                                     "dd bs=1 count=1 of=\"$first\" 2>/dev/null\ntouch " + quoted(started()) +
                                     "\nwhile [ ! -e " + quoted(goOn()) + " ]; do sleep 0.05; done\n" +
                                     "cat \"$first\" - | " + quoted(real) + " \"$@\"\n";
        fs::permissions(engine, fs::perms::owner_all);
    }

    void publish(const fs::path &newBundle)
    {
        std::vector<ArchiveEntry> entries;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(newBundle)) {
            if (entry.is_regular_file())
                entries.push_back({.name = "quorvalent" / entry.path().lexically_relative(newBundle),
                                   .content = bytesOf(entry.path()),
                                   .mode = static_cast<unsigned>(entry.status().permissions())});
        }
        const fs::path archive = home / "quorvalent-2.0.tar.zst";
        writeArchive(archive, entries);
        home.write("releases", R"([{"version": "2.0", "archive": "quorvalent-2.0.tar.zst"}])");
        server.pages["/feed"] = {
            .content = published({u"feed"_s, text(secretKey()), text(home / "releases"), text(home.path())})};
        server.pages["/quorvalent-2.0.tar.zst"] = {.content = QByteArray::fromStdString(bytesOf(archive))};
    }

    void startVersion1()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
        environment.insert(u"XDG_CONFIG_HOME"_s, text(home / "config"));
        environment.insert(u"XDG_RUNTIME_DIR"_s, text(home / "runtime"));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s); // no desktop of ours
        program.setProcessEnvironment(environment);
        program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program.start(text(bundle() / "bin/quorvalent"), {text(started())});
        ASSERT_TRUE(program.waitForStarted());
    }

    /// Renames one file after the other until something comes of it: nothing outside tells when the program
    /// has begun to watch.
    void renameUntil(const char *stem, const char *from, const char *to,
                     const std::function<bool()> &isEnough)
    {
        for (int attempt = 0; attempt < attempts; ++attempt) {
            const std::string name = stem + std::to_string(attempt);
            fs::rename(folder / (name + from), folder / (name + to));
            if (waitFor(isEnough, 2s))
                return;
        }
        FAIL() << "no rename of a " << stem << " is noticed";
    }
    [[nodiscard]] bool anyStartsWith(const char *extension, const std::string &magic) const
    {
        for (const fs::directory_entry &entry : fs::directory_iterator(folder.path())) {
            if (entry.path().extension() == extension && bytesOf(entry.path()).starts_with(magic))
                return true;
        }
        return false;
    }

    bool hasTold(const QByteArray &step)
    {
        told += program.readAllStandardOutput();
        return told.contains(step + '\n');
    }
    [[nodiscard]] QString installedVersion() const
    {
        const QByteArray json = QByteArray::fromStdString(bytesOf(bundle() / "Contents/Info.json"));
        return QJsonDocument::fromJson(json)["QuorvalentDisplayVersion"_L1].toString();
    }

    TestFolder home;
    TestFolder folder; ///< the watched one
    HttpServer server;
    const QString publicKey = QString::fromLatin1(published({u"key"_s, text(secretKey())}).trimmed());
    QProcess program;
    QByteArray told;
};

TEST_F(UpdateEndToEndTest, waitsForTheConversionAndGoesOnAsTheNewVersion)
{
    makeBundle(bundle(), u"1.0"_s, QUORVALENT_DRIVEN_PROGRAM);
    delayEngine();
    makeBundle(home / "new", u"2.0"_s, fs::path(QUORVALENT_BUNDLE) / "bin/quorvalent");
    publish(home / "new");
    const fs::path video =
        makeMedia(home / "video.mp4", {"-f", "lavfi", "-i", "testsrc=size=64x48:duration=1"});
    const fs::path photo =
        makeMedia(home / "photo.png", {"-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"});
    for (int attempt = 0; attempt < attempts; ++attempt) {
        fs::copy_file(video, folder / ("video" + std::to_string(attempt) + ".mp4"));
        fs::copy_file(photo, folder / ("photo" + std::to_string(attempt) + ".png"));
    }

    startVersion1();
    renameUntil("video", ".mp4", ".mkv", [this] { return fs::exists(started()); });
    ASSERT_TRUE(waitFor([this] { return hasTold("waiting"); }));
    EXPECT_EQ(installedVersion(), u"1.0"_s);
    EXPECT_TRUE(fs::exists(home / ".app.update/bundle/bin/quorvalent")) << "unpacked, and not more";

    std::ofstream(goOn()).flush();
    ASSERT_TRUE(waitFor([this] { return program.state() == QProcess::NotRunning; }));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_TRUE(anyStartsWith(".mkv", "\x1a\x45\xdf\xa3")) << "the conversion was finished first";
    EXPECT_EQ(installedVersion(), u"2.0"_s);
    EXPECT_FALSE(fs::exists(home / ".app.update"));
    EXPECT_FALSE(fs::is_symlink(bundle() / "Contents/Helpers/ffmpeg")) << "version 1 had the system's";

    const pid_t newProgram = processOf(bundle() / "bin/quorvalent");
    ASSERT_NE(newProgram, 0);
    renameUntil("photo", ".png", ".jpg", [this] { return anyStartsWith(".jpg", "\xff\xd8\xff"); });
    EXPECT_EQ(processOf(bundle() / "bin/quorvalent"), newProgram);
    ::kill(newProgram, SIGTERM);
    EXPECT_TRUE(waitFor([this] { return processOf(bundle() / "bin/quorvalent") == 0; }));
}

} // namespace

} // namespace quorvalent::test
