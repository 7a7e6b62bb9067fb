#include "convert/ConversionDriver.h"

#include "convert/RenameProtection.h"
#include "convert/SafeReplacement.h"
#include "core/ConversionError.h"
#include "core/MediaFamilies.h"
#include "platform/ComposedText.h"
#include "platform/EarlyFlush.h"

#include <QStringList>

#include <new>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

QString sourceFormat(const RenameJob &job)
{
    return pathExtension(job.oldURL).toLower();
}

QString targetFormat(const RenameJob &job)
{
    return pathExtension(job.newURL).toLower();
}

bool isImageJob(const RenameJob &job)
{
    return imageExtensions().contains(sourceFormat(job)) && imageExtensions().contains(targetFormat(job));
}

void requireStamp(const RenameJob &job, const QString &sentence)
{
    if (FileStamp::read(job.newURL) != job.stamp)
        throw ConversionError(sentence);
}

// Bytes that the result takes at the very least. Only plain samples are sure to outgrow a compressed source;
// for every other target the answer hangs on what the engine makes of it.
std::uint64_t smallestResult(const RenameJob &job)
{
    static const QStringList compressed{u"mp3"_s, u"m4a"_s, u"aac"_s, u"flac"_s, u"ogg"_s};
    static const QStringList plainSamples{u"wav"_s, u"aif"_s, u"aiff"_s};
    const bool grows = compressed.contains(sourceFormat(job)) && plainSamples.contains(targetFormat(job));
    return grows ? job.stamp.size : 1;
}

ConversionError noValidOutput()
{
    return ConversionError(u"Le moteur n’a produit aucun fichier valide."_s);
}

struct EnginesInUse
{
    const Engines &engines;
    ~EnginesInUse() { engines.end(); }
};

} // namespace

ConversionDriver::ConversionDriver(const Files &files, Engines engines)
    : m_files(files)
    , m_engines(std::move(engines))
{}

ConversionReport ConversionDriver::convert(const RenameJob &job, const Preferences &preferences,
                                           const Progress &progress) const
{
    if (const std::optional<QString> refusal = RenameProtection::reason(job))
        throw RenameProtection::reject(job, *refusal, m_files);
    try {
        return replace(job, preferences, progress);
    } catch (const Error &failure) {
        giveNameBack(job, failure);
        throw;
    } catch (const std::bad_alloc &) {
        const ConversionError failure(u"Mémoire insuffisante pour convertir ce fichier."_s);
        giveNameBack(job, failure);
        throw failure;
    }
}

ConversionReport ConversionDriver::replace(const RenameJob &job, const Preferences &preferences,
                                           const Progress &progress) const
{
    requireStamp(job, u"Le fichier a changé. Conversion annulée pour le protéger."_s);
    const WorkFolder work(m_files, job, preferences.keepOriginal);
    const EnginesInUse inUse{m_engines}; // gone before the folder that they work in
    m_engines.begin(work.mediaFolder(), isImageJob(job));
    m_files.copy(job.newURL, work.sourceCopy());
    const FileAttributes own = m_files.attributes(work.journal());
    requireStamp(job, u"Le fichier est en cours de modification."_s);
    requireSpaceForResult(job);
    EngineReport learnt;
    {
        const EarlyFlush flush(work.output());
        learnt = runEngine(job, work, preferences, progress);
        requireSoundOutput(work, own);
    }
    ConversionReport conversion{std::move(learnt.remarks), {}};
    const SafeReplacement replacement(m_files, job, work);
    if (const auto stays = replacement.run(preferences.keepOriginal || learnt.keepsOriginal)) {
        conversion.original = stays->place;
        if (!stays->reason.isEmpty())
            conversion.remarks.append(stays->reason);
        else if (!preferences.keepOriginal)
            conversion.remarks.append(composed(u"L’original reste à côté du résultat, sous « {0} »."_s,
                                               {displayName(stays->place)}));
    }
    report(progress, 1.0);
    return conversion;
}

void ConversionDriver::requireSpaceForResult(const RenameJob &job) const
{
    const fs::path folder = job.newURL.parent_path();
    const std::optional<std::uint64_t> available = m_files.freeBytes(folder);
    if (available && *available < smallestResult(job))
        throw ConversionError(u"Espace disque insuffisant."_s);
}

EngineReport ConversionDriver::runEngine(const RenameJob &job, const WorkFolder &work,
                                         const Preferences &preferences, const Progress &progress) const
{
    static const QStringList platformAudio{u"wav"_s, u"aif"_s, u"aiff"_s, u"m4a"_s};
    static const QStringList platformVideo{u"mp4"_s, u"mov"_s, u"m4v"_s};
    const QString source = sourceFormat(job);
    const QString target = targetFormat(job);

    if (isImageJob(job)) {
        const Engine &engine = target == u"webp"_s ? m_engines.external : m_engines.image;
        return engine(work.sourceCopy(), work.output(), preferences, progress);
    }
    Engine first;
    if (audioExtensions().contains(source) && platformAudio.contains(target))
        first = m_engines.audio;
    else if (videoExtensions().contains(source) && platformVideo.contains(target))
        first = m_engines.video;
    if (first) {
        try {
            return first(work.sourceCopy(), work.output(), preferences, progress);
        } catch (const Error &) {
            if (!m_engines.hasExternal())
                throw;
        }
        try {
            m_files.removeTree(work.output());
        } catch (const Error &) {
            // The external engine writes over what the first one left, or says why it cannot.
        }
    }
    return m_engines.external(work.sourceCopy(), work.output(), preferences, progress);
}

void ConversionDriver::requireSoundOutput(const WorkFolder &work, const FileAttributes &own) const
{
    requireFileLike(own, work.output()); // else the check might wait for a pipe's other end
    const bool matches = m_engines.matches(work.sourceCopy(), work.output());
    m_engines.end();
    if (!matches)
        throw noValidOutput();
    requireFileLike(own, work.output()); // now that nobody can put another in its place
}

// A file of its own that holds something. What the file system makes of a new file of this user's, one that
// we made ourselves shows; a link to a file elsewhere, or one that was moved here, differs.
void ConversionDriver::requireFileLike(const FileAttributes &own, const fs::path &output) const
{
    const FileAttributes found = m_files.attributes(output);
    if (found.type != FileType::Regular || found.sizeBytes == 0 || found.device != own.device ||
        found.isOwn != own.isOwn || found.links != own.links)
        throw noValidOutput();
}

void ConversionDriver::giveNameBack(const RenameJob &job, const Error &failure) const
{
    if (!job.stamp.isAt(job.newURL) || m_files.exists(job.oldURL))
        return;
    try {
        m_files.moveNoReplace(job.newURL, job.oldURL);
    } catch (const Error &) {
        throw ConversionError(
            composed(u"Conversion impossible. Original intact sous {0} ; rétablissez .{1}."_s,
                     {displayName(job.newURL), pathExtension(job.oldURL)}));
    }
    throw ConversionError(composed(u"{0} Extension d’origine rétablie."_s, {failure.errorDescription()}));
}

} // namespace quorvalent
