#include "damaged/SampleMedia.h"
#include "media/ImageSource.h"
#include "platform/ChildProcess.h"
#include "support/TestFolder.h"
#include "support/TestMedia.h"
#include "support/WaitFor.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>

// Damaged files of every family through the whole program. Whatever they do to a decoder, the program goes
// on, and each file is either converted or back under its name.
//
// QUORVALENT_DAMAGED_FILES     how many; one of each format without
// QUORVALENT_DAMAGED_FIRST     the number of the first, so that a long run can be made in parts
// QUORVALENT_SAMPLE_MEDIA      a folder with "image", "audio" and "video": its small files are damaged too
// QUORVALENT_DAMAGED_FINDS     a folder that receives the files which found something

namespace quorvalent::test {
namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

// Every format but those that a family reads without writing them often.
const std::map<std::string, std::vector<std::string>> targets{
    {"image", {".jpg", ".png", ".tiff", ".gif", ".bmp", ".webp", ".heic"}},
    {"audio", {".wav", ".m4a", ".mp3", ".flac", ".aiff", ".ogg"}},
    {"video", {".mp4", ".mov", ".mkv", ".m4v", ".avi"}},
};

std::string setting(const char *name)
{
    const char *value = std::getenv(name);
    return value == nullptr ? std::string() : value;
}

unsigned numberSetting(const char *name, unsigned fallback)
{
    const std::string value = setting(name);
    return value.empty() ? fallback : static_cast<unsigned>(std::stoul(value));
}

struct DamagedFile
{
    std::string family;
    std::string bytes;
    std::string oldName;
    std::string newName;
    std::optional<QJsonObject> finished; ///< what the program said of it at its end

    [[nodiscard]] bool isConverted() const { return (*finished)[u"success"_s].toBool(); }
};

// Whether another program than the one under test makes something of the result. FFmpeg reads neither HEIC
// nor every TIFF.
bool canBeDecoded(const fs::path &path, const std::string &family)
{
    if (path.extension() == ".heic" || path.extension() == ".tiff") {
        try {
            const std::optional<ImageSource> image = ImageSource::open(path, path.parent_path());
            for (int i = 0; image && i < image->frameCount(); ++i)
                image->frame(i).decode();
            return image.has_value();
        } catch (const Error &) {
            return false;
        }
    }
    ChildCommand command;
    command.program = ffmpegProgram();
    command.arguments = {
        "-nostdin", "-loglevel", "quiet", "-max_error_rate", "1", "-i", "file:" + path.native()};
    if (family == "audio")
        command.arguments.emplace_back("-vn"); // a cover travels as it is
    command.arguments.insert(command.arguments.end(), {"-f", "null", "-"});
    return ChildProcess(command).wait().isSuccess();
}

// The command lines of all processes that name the folder.
std::vector<std::string> processesIn(const fs::path &folder)
{
    std::vector<std::string> found;
    for (const fs::directory_entry &process : fs::directory_iterator("/proc")) {
        std::ifstream file(process.path() / "cmdline", std::ios::binary);
        const std::string line{std::istreambuf_iterator<char>(file), {}};
        std::error_code gone;
        const fs::path place = fs::read_symlink(process.path() / "cwd", gone);
        if (line.find(folder.native()) != std::string::npos || place.native().starts_with(folder.native()))
            found.push_back(line);
    }
    return found;
}

// What the program said of the file; what FFmpeg adds differs each time.
std::string sentenceOf(const DamagedFile &file)
{
    const QString detail = (*file.finished)[u"detail"_s].toString();
    return detail.startsWith("FFmpeg : "_L1) ? "FFmpeg : …" : detail.toStdString();
}

class DamagedFilesTest : public testing::Test
{
protected:
    ~DamagedFilesTest() override
    {
        program.kill();
        program.waitForFinished();
    }

    void makeFiles(unsigned count)
    {
        first = numberSetting("QUORVALENT_DAMAGED_FIRST", 0);
        std::vector<Sample> samples = madeSamples(media.path());
        if (const std::string real = setting("QUORVALENT_SAMPLE_MEDIA"); fs::is_directory(real)) {
            const std::vector<Sample> more = samplesIn(real);
            samples.insert(samples.end(), more.begin(), more.end());
        }
        for (unsigned i = first; i < first + count; ++i) {
            const Sample &sample = samples[i % samples.size()];
            const std::string stem = std::to_string(i);
            const std::vector<std::string> &choice = targets.at(sample.family);
            std::size_t target = i / samples.size() + i;
            if (choice[target % choice.size()] == sample.extension)
                ++target;
            files.push_back({sample.family, damaged(sample, i), stem + sample.extension,
                             stem + choice[target % choice.size()], std::nullopt});
            folder.write(files.back().oldName, files.back().bytes);
        }
    }

    // The program as it is built, but with a helper that does not keep to itself what a checker says of it.
    std::string makeBundle() const
    {
        const fs::path built = fs::path(QUORVALENT_WATCH_PROGRAM).parent_path().parent_path();
        for (const char *name : {"bin", "Contents/Helpers"})
            fs::create_directories(bundle / name);
        for (const char *name : {"Contents/Info.json", "Contents/Resources", "Contents/Helpers/ffmpeg"})
            fs::create_symlink(built / name, bundle / name);
        const fs::path watch = bundle / "bin/quorvalent-watch";
        fs::copy_file(built / "bin/quorvalent-watch", watch);
        // Where a library asks for too much memory, it is to be told so, as it is without a checker.
        for (const char *name :
             {"Contents/Helpers/quorvalent-engine", "Contents/Helpers/quorvalent-image-engine"})
            fs::permissions(bundle.write(name, "#!/bin/sh\nASAN_OPTIONS=allocator_may_return_null=1 exec \"" +
                                                   (built / name).native() + "\" 2>>\"" +
                                                   (settings / "reports").native() + "\"\n"),
                            fs::perms::owner_all);
        return watch;
    }

    void startProgram()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_CONFIG_HOME"_s, QString::fromStdString(settings.path().native()));
        environment.insert(u"XDG_STATE_HOME"_s, QString::fromStdString(settings.path().native()));
        program.setProcessEnvironment(environment);
        program.setProcessChannelMode(QProcess::SeparateChannels);
        program.setStandardErrorFile(QString::fromStdString((settings / "errors").native()));
        program.start(QString::fromStdString(makeBundle()), {u"--json"_s, u"--language"_s, u"fr"_s,
                                                             QString::fromStdString(folder.path().native())});
        ASSERT_TRUE(waitFor([this] {
            readEvents();
            return isWatching || program.state() == QProcess::NotRunning;
        }));
        ASSERT_TRUE(isWatching);
    }

    void readEvents()
    {
        while (program.canReadLine()) {
            const QJsonObject event = QJsonDocument::fromJson(program.readLine()).object();
            isWatching = isWatching || event[u"event"_s] == "watching"_L1;
            if (event[u"event"_s] == "started"_L1)
                running = event[u"new"_s].toString();
            if (event[u"event"_s] != "finished"_L1)
                continue;
            const fs::path name = fs::path(event[u"new"_s].toString().toStdString()).filename();
            DamagedFile &file = files.at(std::stoul(name.stem().native()) - first);
            file.finished = event;
            ++finishedCount;
            lookForReports(file);
        }
    }

    // What a checker of addresses or of undefined behaviour wrote since the last file; libraries warn too.
    void lookForReports(const DamagedFile &file)
    {
        if (!fs::exists(settings / "reports"))
            return;
        const std::string all = settings.read("reports");
        const std::string added = all.substr(readReports);
        readReports = all.size();
        if (added.find("Sanitizer") == std::string::npos && added.find("runtime error") == std::string::npos)
            return;
        keep(file);
        ADD_FAILURE() << file.oldName << " to " << file.newName << ": " << added;
    }

    // Renames some files, waits for the program to be done with them, and looks at what it made of each.
    void convert(std::size_t begin, std::size_t end)
    {
        for (std::size_t i = begin; i < end; ++i)
            fs::rename(folder / files[i].oldName, folder / files[i].newName);
        const bool ended = waitFor(
            [&] {
                readEvents();
                return finishedCount == end || program.state() == QProcess::NotRunning;
            },
            10min);
        ASSERT_TRUE(ended) << "no end of " << running.toStdString();
        if (program.state() == QProcess::NotRunning) {
            keep(files.at(std::stoul(fs::path(running.toStdString()).stem().native()) - first));
            FAIL() << "the program died at " << running.toStdString() << "\n" << settings.read("errors");
        }
        for (std::size_t i = begin; i < end; ++i)
            check(files[i]);
    }

    void check(const DamagedFile &file)
    {
        const bool isHelperAlive = !sentenceOf(file).starts_with("Le moteur de conversion s’est arrêté");
        const bool isWhereItShouldBe =
            file.isConverted() ? fs::exists(folder / file.newName) && !fs::exists(folder / file.oldName) &&
                                     canBeDecoded(folder / file.newName, file.family)
                               : !fs::exists(folder / file.newName) && fs::exists(folder / file.oldName) &&
                                     folder.read(file.oldName) == file.bytes;
        if (isWhereItShouldBe && isHelperAlive)
            return;
        keep(file);
        ADD_FAILURE() << file.oldName << " to " << file.newName << ": "
                      << (*file.finished)[u"detail"_s].toString().toStdString();
    }

    void keep(const DamagedFile &file)
    {
        const fs::path finds = setting("QUORVALENT_DAMAGED_FINDS");
        if (!finds.empty())
            std::ofstream(finds / (file.oldName + " to " + file.newName), std::ios::binary) << file.bytes;
    }

    void report() const
    {
        std::map<std::string, std::map<std::string, int>> outcomes;
        for (const DamagedFile &file : files)
            ++outcomes[file.family][sentenceOf(file)];
        for (const auto &[family, details] : outcomes) {
            for (const auto &[detail, count] : details)
                std::cout << family << '\t' << count << '\t' << detail << '\n';
        }
    }

    TestFolder bundle;
    TestFolder settings;
    TestFolder media;
    TestFolder folder;
    QProcess program;
    bool isWatching = false;
    QString running; ///< the job that started last
    unsigned first = 0;
    std::size_t readReports = 0; ///< bytes of what the helpers wrote to standard error
    std::size_t finishedCount = 0;
    std::vector<DamagedFile> files;
};

TEST_F(DamagedFilesTest, areConvertedOrBackUnderTheirNames)
{
    constexpr unsigned oneOfEachFormat = 20;
    makeFiles(numberSetting("QUORVALENT_DAMAGED_FILES", oneOfEachFormat));
    ASSERT_NO_FATAL_FAILURE(startProgram());
    constexpr std::size_t atOnce = 50;
    for (std::size_t begin = 0; begin < files.size(); begin += atOnce)
        ASSERT_NO_FATAL_FAILURE(convert(begin, std::min(begin + atOnce, files.size())));

    program.terminate();
    ASSERT_TRUE(waitFor([this] { return program.state() == QProcess::NotRunning; }));
    EXPECT_EQ(program.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_EQ(processesIn(folder.path()), std::vector<std::string>());
    std::vector<std::string> expected;
    for (const DamagedFile &file : files)
        expected.push_back(file.isConverted() ? file.newName : file.oldName);
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(folder.listing(), expected);
    if (!setting("QUORVALENT_DAMAGED_FILES").empty())
        report();
}

} // namespace
} // namespace quorvalent::test
