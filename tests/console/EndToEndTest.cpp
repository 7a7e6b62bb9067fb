#include "support/NoThreads.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/WaitFor.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

// The whole program as a user runs it: real watcher, real engines, real signals.

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class EndToEndTest : public testing::Test
{
protected:
    ~EndToEndTest() override
    {
        program.kill();
        program.waitForFinished();
    }

    void start(const QStringList &options = {u"--json"_s, u"--language"_s, u"fr"_s},
               const fs::path &watch = QUORVALENT_WATCH_PROGRAM)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, QString::fromStdString(settings.path().native()));
        environment.insert(u"XDG_STATE_HOME"_s, QString::fromStdString(state.path().native()));
        program.setProcessEnvironment(environment);
        // A terminal sends Ctrl-C to the program's whole group, engines included.
        program.setChildProcessModifier([] { ::setpgid(0, 0); });
        program.start(QString::fromStdString(watch.native()),
                      options + QStringList(QString::fromStdString(folder.path().native())));
        ASSERT_TRUE(program.waitForStarted());
    }

    void startWatching()
    {
        start();
        ASSERT_TRUE(waitFor([this] { return count("watching") == 1; }));
    }

    // Renames within the watched folder.
    void rename(const std::string &from, const std::string &to) const
    {
        fs::rename(folder / from, folder / to);
    }

    int count(const char *event)
    {
        while (program.canReadLine())
            events.push_back(QJsonDocument::fromJson(program.readLine()).object());
        return static_cast<int>(
            std::count_if(events.begin(), events.end(), [event](const QJsonObject &object) {
                return object[u"event"_s].toString() == QLatin1String(event);
            }));
    }

    [[nodiscard]] int exitStatus()
    {
        EXPECT_TRUE(waitFor([this] { return program.state() == QProcess::NotRunning; }, 5min));
        EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
        EXPECT_TRUE(settings.listing().empty()) << "the user's settings were written";
        return program.exitCode();
    }

    std::string makeMedia(const std::string &name, const std::vector<std::string> &arguments)
    {
        test::makeMedia(media / name, arguments);
        const std::string bytes = media.read(name);
        folder.write(name, bytes);
        return bytes;
    }
    std::string makePhoto(const std::string &name)
    {
        return makeMedia(name, {"-f", "lavfi", "-i", "testsrc=size=64x48", "-frames:v", "1"});
    }
    // Long enough that its conversion still runs when a signal follows its start.
    std::string makeSound(const std::string &name)
    {
        return makeMedia(name, {"-f", "lavfi", "-i", "anoisesrc=d=30:r=44100"});
    }

    TestFolder settings;
    const TestFolder state;
    TestFolder media;
    TestFolder folder;
    QProcess program;
    std::vector<QJsonObject> events;
};

TEST_F(EndToEndTest, convertsAFileWhoseNameIsNoText)
{
    makePhoto("photo.png");
    startWatching();
    rename("photo.png", "\xff photo.png");
    rename("\xff photo.png", "\xff photo.jpg");
    ASSERT_TRUE(waitFor([this] { return count("finished") == 1; }));

    EXPECT_EQ(folder.listing(), std::vector<std::string>({"\xff photo.jpg"}));
    EXPECT_EQ(folder.read("\xff photo.jpg").substr(0, 3), "\xff\xd8\xff");
    const QJsonObject &finished = events.back();
    EXPECT_TRUE(finished[u"success"_s].toBool());
    EXPECT_EQ(finished[u"detail"_s].toString(), u"Conversion terminée"_s);
    EXPECT_TRUE(finished[u"new"_s].toString().endsWith(u"/\uFFFD photo.jpg"_s));
    EXPECT_GT(finished[u"seconds"_s].toDouble(), 0.0);
    EXPECT_EQ(events[1][u"event"_s], u"detected"_s);
    EXPECT_EQ(events[2][u"detail"_s], u"PNG → JPG"_s);
    EXPECT_EQ(events[events.size() - 2][u"fraction"_s].toDouble(), 1.0);

    program.terminate();
    EXPECT_EQ(exitStatus(), 0);
}

TEST_F(EndToEndTest, tellsItsVersionAndHowFarConversionsAreIsolated)
{
    start({u"--version"_s, u"--language"_s, u"fr"_s});
    EXPECT_EQ(exitStatus(), 0);
    const QList<QByteArray> lines = program.readAllStandardOutput().split('\n');
    ASSERT_EQ(lines.size(), 3) << lines.join('\n').toStdString(); // more where an encoder is missing
    EXPECT_TRUE(lines[0].startsWith("quorvalent-watch "));
    EXPECT_TRUE(lines[1].startsWith("Conversions ")) << lines[1].toStdString();
}

TEST_F(EndToEndTest, putsTheNameBackOfWhatItRefuses)
{
    const std::string bytes = makePhoto("photo.png");
    startWatching();
    rename("photo.png", "photo.pdf");
    ASSERT_TRUE(waitFor([this] { return count("finished") == 1; }));

    EXPECT_FALSE(events.back()[u"success"_s].toBool(true));
    EXPECT_EQ(events.back()[u"title"_s], u"Format non pris en charge"_s);
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"photo.png"}));
    EXPECT_EQ(folder.read("photo.png"), bytes);
}

TEST_F(EndToEndTest, saysNothingOfAForeignFileThatIsWhatItsNewNameSays)
{
    const std::string bytes = makePhoto("photo.jpg");
    rename("photo.jpg", "IMG_0001");
    folder.write("notes.txt", "no picture");
    startWatching();
    rename("IMG_0001", "IMG_0001.jpg");
    rename("notes.txt", "notes.png");
    ASSERT_TRUE(waitFor([this] { return count("finished") == 1; }));

    // Files are looked at one after the other, so the first look is over as well.
    EXPECT_EQ(count("detected"), 1);
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"IMG_0001.jpg", "notes.txt"}));
    EXPECT_EQ(folder.read("IMG_0001.jpg"), bytes);

    rename("IMG_0001.jpg", "IMG_0001.jpeg");
    ASSERT_TRUE(waitFor([this] { return count("finished") == 2; }));
    EXPECT_EQ(events.back()[u"detail"_s], u"Conversion terminée"_s);
    EXPECT_EQ(folder.read("IMG_0001.jpeg"), bytes);
}

TEST_F(EndToEndTest, finishesRunningAndWaitingConversionsAfterCtrlC)
{
    makeSound("a.wav");
    makeSound("b.wav");
    startWatching();
    rename("a.wav", "a.mp3");
    rename("b.wav", "b.mp3");
    ASSERT_TRUE(waitFor([this] { return count("detected") == 2; }));
    ::kill(-static_cast<pid_t>(program.processId()), SIGINT);

    EXPECT_EQ(exitStatus(), 0);
    EXPECT_EQ(count("finished"), 2);
    for (const QJsonObject &event : events)
        EXPECT_TRUE(event[u"success"_s].toBool(true)) << event[u"detail"_s].toString().toStdString();
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"a.mp3", "b.mp3"}));
    EXPECT_NE(folder.read("a.mp3").substr(0, 4), "RIFF");
    EXPECT_NE(folder.read("b.mp3").substr(0, 4), "RIFF");
}

TEST_F(EndToEndTest, leavesWaitingFilesAloneAfterASecondSignal)
{
    makeSound("a.wav");
    makeSound("b.wav");
    startWatching();
    rename("a.wav", "a.mp3");
    rename("b.wav", "b.mp3");
    ASSERT_TRUE(waitFor([this] { return count("detected") == 2; }));
    // Two threads of the program may take one each, so that either can be the second.
    ::kill(static_cast<pid_t>(program.processId()), SIGINT);
    ::kill(static_cast<pid_t>(program.processId()), SIGTERM);

    EXPECT_THAT(exitStatus(), testing::AnyOf(128 + SIGINT, 128 + SIGTERM));
    EXPECT_EQ(count("finished"), 1);
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"a.mp3", "b.mp3"}));
    EXPECT_NE(folder.read("a.mp3").substr(0, 4) == "RIFF", folder.read("b.mp3").substr(0, 4) == "RIFF");
    EXPECT_TRUE(program.readAllStandardError().contains(".mp3 » a été renommé mais n’a pas été converti."));
}

TEST_F(EndToEndTest, endsAfterASecondSignalWhateverADecoderDoes)
{
    const TestFolder bundle;
    fs::create_directories(bundle / "bin");
    fs::copy_file(QUORVALENT_WATCH_PROGRAM, bundle / "bin/quorvalent-watch");
    bundle.write("Contents/Helpers/behaviour", "doesNotListen");
    bundle.write("Contents/Helpers/starts", "");
    fs::create_symlink(MISBEHAVING_ENGINE_PROGRAM, bundle / "Contents/Helpers/quorvalent-image-engine");
    folder.write("photo.png", "old");
    start({u"--json"_s}, bundle / "bin/quorvalent-watch");
    ASSERT_TRUE(waitFor([this] { return count("watching") == 1; }));
    rename("photo.png", "photo.jpg");
    ASSERT_TRUE(
        waitFor([&] { return count("started") == 1 && !bundle.read("Contents/Helpers/starts").empty(); }));
    ::kill(static_cast<pid_t>(program.processId()), SIGINT);
    ::kill(static_cast<pid_t>(program.processId()), SIGTERM);

    EXPECT_THAT(exitStatus(), testing::AnyOf(128 + SIGINT, 128 + SIGTERM));
    EXPECT_EQ(count("finished"), 1);
    EXPECT_EQ(events.back()[u"detail"_s].toString(),
              u"Quorvalent s’est arrêté avant la fin de la conversion. Extension d’origine rétablie."_s);
    EXPECT_EQ(folder.listing(), std::vector<std::string>({"photo.png"}));
    EXPECT_EQ(folder.read("photo.png"), "old");
}

TEST_F(EndToEndTest, isSilentAboutWhatAnotherWatcherConverted)
{
    constexpr int photos = 8;
    for (int number = 0; number < photos; ++number)
        makePhoto(std::to_string(number) + ".png");
    QProcess other;
    startWatching();
    other.setProcessEnvironment(program.processEnvironment());
    other.start(program.program(), program.arguments());
    ASSERT_TRUE(other.waitForReadyRead());
    for (int number = 0; number < photos; ++number)
        rename(std::to_string(number) + ".png", std::to_string(number) + (number == 0 ? ".pdf" : ".jpg"));
    QByteArray others;
    const auto finished = [&] { return count("finished") + others.count("\"event\":\"finished\""); };
    ASSERT_TRUE(waitFor([&] {
        other.waitForReadyRead(10);
        others += other.readAllStandardOutput();
        return finished() >= photos;
    }));
    program.terminate();
    other.terminate();
    EXPECT_EQ(exitStatus(), 0);
    ASSERT_TRUE(other.state() == QProcess::NotRunning || other.waitForFinished());

    others += other.readAllStandardOutput();
    EXPECT_EQ(finished(), photos) << "each by one of them";
    for (int number = 0; number < photos; ++number)
        EXPECT_TRUE(fs::exists(folder / (std::to_string(number) + (number == 0 ? ".png" : ".jpg"))))
            << number;
}

TEST_F(EndToEndTest, saysAtTheStartThatThereAreNoThreads)
{
    program.setChildProcessModifier(&refuseThreads);
    program.start(QStringLiteral(QUORVALENT_WATCH_PROGRAM),
                  {u"--language"_s, u"fr"_s, QString::fromStdString(folder.path().native())});
    EXPECT_EQ(exitStatus(), 1);
    EXPECT_TRUE(program.readAllStandardOutput().isEmpty());
    EXPECT_TRUE(program.readAllStandardError().contains("(ulimit -u, TasksMax)"));
}

TEST_F(EndToEndTest, failsWhenNobodyCanReadItsEvents)
{
    program.setStandardOutputFile(u"/dev/full"_s);
    start();
    EXPECT_EQ(exitStatus(), 1);
}

TEST_F(EndToEndTest, speaksTheLanguageAskedForAndLeavesNamesAlone)
{
    makePhoto("photo.png");
    start({u"--language"_s, u"de"_s});
    QByteArray lines;
    const auto tells = [&](const QByteArray &text) {
        return waitFor([&] { return (lines += program.readAllStandardOutput()).contains(text); });
    };
    ASSERT_TRUE(tells("Überwachte Ordner"));
    rename("photo.png", "photo.pdf");
    EXPECT_TRUE(tells("„photo.png“")) << lines.toStdString();
    EXPECT_FALSE(lines.contains("pris en charge") || lines.contains("rétabli")) << lines.toStdString();
}

TEST_F(EndToEndTest, watchesNothingOnBadUsage)
{
    start({u"--json"_s, u"--video"_s, u"mp4=9"_s});
    EXPECT_EQ(exitStatus(), 2);
    EXPECT_TRUE(program.readAllStandardOutput().isEmpty());
    EXPECT_EQ(program.readAllStandardError().count('\n'), 1);
}

} // namespace

} // namespace quorvalent::test
