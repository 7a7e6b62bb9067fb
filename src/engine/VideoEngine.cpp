#include "engine/VideoEngine.h"

#include "core/ConversionError.h"
#include "media/ExportSession.h"

#include <chrono>
#include <semaphore>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

constexpr auto progressInterval = 120ms;
constexpr double progressScale = 0.98; // the rest is the driver's

ExportPreset presetFor(qint64 quality)
{
    if (quality == 0)
        return ExportPreset::HighestQuality;
    return quality == 1 ? ExportPreset::MediumQuality : ExportPreset::LowQuality;
}

MovieFileType fileTypeFor(const std::filesystem::path &output)
{
    const std::filesystem::path extension = output.extension();
    if (extension == ".mov")
        return MovieFileType::QuickTimeMovie;
    return extension == ".m4v" ? MovieFileType::AppleM4V : MovieFileType::Mpeg4;
}

} // namespace

QStringList runVideoEngine(const std::filesystem::path &source, const std::filesystem::path &output,
                           qint64 quality, const Progress &progress)
{
    // Signalled by the session's thread, so it has to outlive the session.
    std::binary_semaphore ended(0);
    const std::unique_ptr<ExportSession> session = ExportSession::create(source, presetFor(quality));
    if (!session)
        throw ConversionError(u"Vidéo incompatible avec le moteur Apple. "
                              u"Le moteur intégré sera utilisé si disponible."_s);
    session->outputFileType = fileTypeFor(output);
    if (!session->supportedFileTypes().contains(session->outputFileType))
        throw ConversionError(u"Conteneur vidéo non disponible avec le moteur Apple."_s);
    session->outputURL = output;

    session->exportAsynchronously([&ended] { ended.release(); });
    while (!ended.try_acquire_for(progressInterval))
        report(progress, session->progress() * progressScale);

    if (session->status() == ExportSession::Status::Completed)
        return session->omissions(session->outputFileType);
    if (session->error())
        throw *session->error();
    throw ConversionError(u"Échec de l’export vidéo."_s);
}

} // namespace quorvalent
