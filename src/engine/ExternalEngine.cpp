#include "engine/ExternalEngine.h"

#include "core/ConversionError.h"
#include "core/MediaFamilies.h"
#include "core/RenameJob.h"
#include "engine/ExternalArguments.h"
#include "media/ExportLog.h"
#include "platform/ChildProcess.h"

#include <QByteArrayView>

#include <algorithm>
#include <cmath>
#include <fstream>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// Nothing of the user's environment may change what FFmpeg does or how it words its log.
ChildCommand engineCommand(const std::filesystem::path &program, std::vector<std::string> arguments,
                           const std::filesystem::path &workFolder, const FileDescriptor &log)
{
    ChildCommand command;
    command.program = program;
    command.arguments = std::move(arguments);
    command.environment = {"LC_ALL=C.UTF-8", "TMPDIR=" + workFolder.native()};
    command.workingFolder = workFolder;
    command.standardError = log.get();
    return command;
}

// The share of the source that a line of the progress stream tells, or nothing for any other line.
std::optional<double> fractionOf(const QByteArray &line, MediaSeconds duration)
{
    constexpr QByteArrayView key("out_time_us=");
    if (!line.startsWith(key))
        return std::nullopt;
    bool isNumber = false;
    const double microseconds = line.sliced(key.size()).toDouble(&isNumber);
    if (!isNumber || !std::isfinite(microseconds))
        return std::nullopt;
    // Before the first packet FFmpeg reports a time far below zero.
    return std::clamp(microseconds / 1e6 / duration.count(), 0.0, 0.98);
}

QString endOfLog(const std::filesystem::path &log)
{
    constexpr qsizetype shownCharacters = 350;
    constexpr std::streamoff longestCharacter = 4; // bytes, in UTF-8
    std::ifstream file(log, std::ios::binary | std::ios::ate);
    const std::streamoff size = file ? std::streamoff(file.tellg()) : 0;
    file.seekg(std::max<std::streamoff>(0, size - (shownCharacters + 1) * longestCharacter));
    const QByteArray bytes =
        QByteArray::fromStdString({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
    QString tail = QString::fromUtf8(bytes).right(shownCharacters);
    if (!tail.isEmpty() && tail.front().isLowSurrogate())
        tail.remove(0, 1);
    return tail;
}

// Runs FFmpeg to its end; each line of its progress stream goes to `onLine`.
void runFfmpeg(const std::filesystem::path &program, std::vector<std::string> arguments,
               const std::filesystem::path &workFolder, const std::function<void(const QByteArray &)> &onLine)
{
    const std::filesystem::path logFile = workFolder / "ffmpeg.log";
    const FileDescriptor log = FileDescriptor::createForWriting(logFile);
    ChildProcess ffmpeg(engineCommand(program, std::move(arguments), workFolder, log));
    ffmpeg.readLines(onLine);
    if (!ffmpeg.wait().isSuccess())
        throw ConversionError("FFmpeg : "_L1 + endOfLog(logFile));
}

void takeCoverOut(const std::filesystem::path &program, const std::filesystem::path &source,
                  const CoverFile &cover, const std::filesystem::path &workFolder)
{
    runFfmpeg(program,
              {"-nostdin", "-hide_banner", "-loglevel", "error", "-y", "-i", source.native(), "-map",
               "0:" + std::to_string(cover.sourceIndex), "-c", "copy", "-frames:v", "1", "-f", "image2",
               "-update", "1", cover.name},
              workFolder, [](const QByteArray &) {});
}

SourceComplaint complaintIn(const std::filesystem::path &log)
{
    constexpr qint64 most = 1024L * 1024; // bytes; a damaged source may fill any length
    std::ifstream file(log, std::ios::binary);
    std::string text(most, '\0');
    file.read(text.data(), most);
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (saysDamaged(QByteArray::fromStdString(text)))
        return SourceComplaint::Damaged;
    return text.empty() ? SourceComplaint::None : SourceComplaint::Any;
}

SourceComplaint convert(const std::filesystem::path &program, const std::filesystem::path &source,
                        const std::filesystem::path &output, const Preferences &preferences,
                        const Progress &progress, const ExternalSource &media)
{
    const std::filesystem::path workFolder = output.parent_path();
    std::vector<std::string> arguments =
        externalArguments(source, output, preferences, media.streams.arguments);
    report(progress, std::nullopt);
    for (const CoverFile &cover : media.streams.covers)
        takeCoverOut(program, source, cover, workFolder);
    runFfmpeg(program, std::move(arguments), workFolder, [&](const QByteArray &line) {
        const std::optional<double> fraction = media.length ? fractionOf(line, *media.length) : std::nullopt;
        if (fraction)
            report(progress, fraction);
    });
    return complaintIn(workFolder / "ffmpeg.log");
}

} // namespace

std::optional<MediaSeconds> lengthOf(const std::optional<MediaAsset> &asset)
{
    if (!asset || !asset->duration || *asset->duration <= MediaSeconds(0))
        return std::nullopt;
    return asset->duration;
}

SourceComplaint runExternalEngine(const std::optional<std::filesystem::path> &program,
                                  const std::filesystem::path &source, const std::filesystem::path &output,
                                  const Preferences &preferences, const Progress &progress,
                                  const ImageAssistance &images, const ExternalSource &media)
{
    if (!program)
        throw ConversionError(u"Le moteur intégré est manquant. Réinstallez Quorvalent."_s);
    if (!imageExtensions().contains(pathExtension(output))) {
        return convert(*program, source, output, preferences, progress, media);
    }
    if (!images.isSingleStillImage(source))
        throw ConversionError(
            u"Le moteur externe accepte ici uniquement les images fixes reconnues par macOS."_s);
    const std::filesystem::path picture = images.pictureToEncode(source, output.parent_path());
    convert(*program, picture, output, preferences, progress, {});
    images.carryMetadata(source, output);
    return SourceComplaint::None;
}

} // namespace quorvalent
