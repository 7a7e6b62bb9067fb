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

// What a conversion may take on the volume at its worst: the copy, and a result that is larger by so much.
std::uint64_t roomFor(const RenameJob &job)
{
    constexpr std::uint64_t films = 3;
    constexpr std::uint64_t unpacked = 16; // compressed pictures and sounds as plain pixels and samples
    return job.stamp.size * (videoExtensions().contains(targetFormat(job)) ? films : unpacked);
}

// The file bears its old name again, as its owner left it.
bool isTakenBack(const RenameJob &job)
{
    return !job.stamp.isAt(job.newURL) && job.stamp.isAt(job.oldURL);
}

ConversionCancelled cancelled()
{
    return ConversionCancelled(u"Conversion annulée."_s);
}

bool isUnwanted(const RenameJob &job, const Cancellation &cancellation)
{
    return cancellation.isRequested() || isTakenBack(job);
}

void requireWanted(const RenameJob &job, const Cancellation &cancellation)
{
    if (isUnwanted(job, cancellation))
        throw cancelled();
}

// Out of a progress, the exception ends the engine at once.
Progress whileWanted(const RenameJob &job, const ConversionRun &run)
{
    return [&job, &run](std::optional<double> fraction) {
        requireWanted(job, run.cancellation);
        report(run.progress, fraction);
    };
}

// Adds what was put in place, and what the user has to know of an original that stays.
void tell(ConversionReport &conversion, const Replaced &replaced, bool originalWasWanted)
{
    conversion.result = replaced.result;
    if (!replaced.original)
        return;
    const auto &[place, reason] = *replaced.original;
    conversion.original = place;
    if (!reason.isEmpty())
        conversion.remarks.append(reason);
    else if (!originalWasWanted)
        conversion.remarks.append(
            composed(u"L’original reste à côté du résultat, sous « {0} »."_s, {displayName(place)}));
}

struct EnginesInUse
{
    const Engines &engines;
    ~EnginesInUse() { engines.end(); }
};

} // namespace

ConversionDriver::ConversionDriver(const Files &files, Engines engines, const OriginalsStore *originals)
    : m_files(files)
    , m_engines(std::move(engines))
    , m_originals(originals)
{}

ConversionReport ConversionDriver::convert(const RenameJob &job, const Preferences &preferences,
                                           const ConversionRun &run) const
{
    if (const std::optional<QString> refusal = RenameProtection::reason(job))
        throw RenameProtection::reject(job, *refusal, m_files);
    try {
        requireWanted(job, run.cancellation);
        const auto asked = m_originals ? m_originals->returnOf(job) : std::nullopt;
        ConversionReport done = asked ? bringBack(job, *asked) : replace(job, preferences, run);
        report(run.progress, 1.0);
        return done;
    } catch (const OriginalLeftError &) {
        throw;
    } catch (const Error &failure) {
        if (isUnwanted(job, run.cancellation)) {
            static_cast<void>(restoreName(job));
            throw cancelled();
        }
        giveNameBack(job, failure);
        throw;
    } catch (const std::bad_alloc &) {
        const ConversionError failure(u"Mémoire insuffisante pour convertir ce fichier."_s);
        giveNameBack(job, failure);
        throw failure;
    } catch (const std::exception &error) {
        // A thread or a descriptor that the system does not give.
        const ConversionError failure(
            composed(u"Erreur inattendue : {0}"_s, {QString::fromUtf8(error.what())}));
        giveNameBack(job, failure);
        throw failure;
    }
}

ConversionReport ConversionDriver::replace(const RenameJob &job, const Preferences &preferences,
                                           const ConversionRun &run) const
{
    requireStamp(job, u"Le fichier a changé. Conversion annulée pour le protéger."_s);
    makeRoom(job);
    const WorkFolder work(m_files, job, preferences.keepOriginal);
    const EnginesInUse inUse{m_engines}; // gone before the folder that they work in
    m_engines.begin({work.mediaFolder(), job.newURL}, isImageJob(job));
    if (isAlready(job))
        return {.remarks = {}, .original = {}, .isUnchanged = true};
    m_files.copy(job.newURL, work.sourceCopy());
    const FileAttributes own = m_files.attributes(work.journal());
    requireStamp(job, u"Le fichier est en cours de modification."_s);
    requireSpaceForResult(job);
    requireWanted(job, run.cancellation);
    const EngineReport learnt = makeOutput(job, work, own, preferences, whileWanted(job, run));
    ConversionReport conversion{.remarks = learnt.remarks, .original = {}};
    TakeOriginal take;
    if (m_originals && preferences.undoSpan.count() > 0) {
        take = [&](const fs::path &original, const FileStamp &result) {
            conversion.canBeTakenBack = m_originals->keep(original, job.oldURL.filename().native(), job.stamp,
                                                          result, preferences.undoSpan);
            return conversion.canBeTakenBack;
        };
    }
    const SafeReplacement replacement(m_files, job, work);
    requireWanted(job, run.cancellation);
    tell(conversion, replacement.run(preferences.keepOriginal || learnt.keepsOriginal, take),
         preferences.keepOriginal);
    return conversion;
}

bool ConversionDriver::isAlready(const RenameJob &job) const
{
    try {
        return m_engines.isOriginalOf(targetFormat(job));
    } catch (const ConversionError &) {
        return false; // the conversion meets the same, if that was no accident
    }
}

ConversionReport ConversionDriver::bringBack(const RenameJob &job, const OriginalsStore::Return &asked) const
{
    requireStamp(job, u"Le fichier a changé. Conversion annulée pour le protéger."_s);
    const WorkFolder work(m_files, job, false); // its journal tells the next start of a swap that was killed
    ConversionReport done{.remarks = {}, .original = {}, .isReturn = true};
    tell(done, SafeReplacement(m_files, job, work).bringBack(asked.original.file()), false);
    m_originals->finish(asked);
    return done;
}

void ConversionDriver::makeRoom(const RenameJob &job) const
{
    if (m_originals)
        m_originals->makeRoom(job.newURL.parent_path(), roomFor(job));
}

void ConversionDriver::requireSpaceForResult(const RenameJob &job) const
{
    const fs::path folder = job.newURL.parent_path();
    const std::optional<std::uint64_t> available = m_files.freeBytes(folder);
    if (available && *available < smallestResult(job))
        throw ConversionError(u"Espace disque insuffisant."_s);
}

// Each engine has words of its own for a full disk, or none. Asked while the output still takes its room.
EngineReport ConversionDriver::makeOutput(const RenameJob &job, const WorkFolder &work,
                                          const FileAttributes &own, const Preferences &preferences,
                                          const Progress &progress) const
{
    try {
        const EarlyFlush flush(work.output());
        EngineReport learnt = runEngine(job, work, preferences, progress);
        requireSoundOutput(work, own);
        return learnt;
    } catch (const ConversionCancelled &) {
        throw;
    } catch (const ConversionStopped &) {
        throw;
    } catch (const Error &) {
        if (isVolumeFull(work.path()))
            throw ConversionError(u"Espace disque insuffisant."_s);
        throw;
    }
}

bool ConversionDriver::isVolumeFull(const fs::path &folder) const
{
    constexpr std::uint64_t asGoodAsNothing = 1U << 20U; // bytes: what an engine writes at a time may not fit
    try {
        const std::optional<std::uint64_t> available = m_files.freeBytes(folder);
        return available && *available < asGoodAsNothing;
    } catch (const FileError &) {
        return false; // the folder is gone, which the failure tells better
    }
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
        } catch (const ConversionCancelled &) {
            throw;
        } catch (const ConversionStopped &) {
            throw;
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

// Whether it was moved; ConversionError where it cannot be.
bool ConversionDriver::restoreName(const RenameJob &job) const
{
    if (!job.stamp.isAt(job.newURL) || m_files.exists(job.oldURL))
        return false;
    try {
        m_files.moveNoReplace(job.newURL, job.oldURL);
    } catch (const Error &) {
        throw ConversionError(
            composed(u"Conversion impossible. Original intact sous {0} ; rétablissez .{1}."_s,
                     {displayName(job.newURL), pathExtension(job.oldURL)}));
    }
    return true;
}

void ConversionDriver::giveNameBack(const RenameJob &job, const Error &failure) const
{
    if (restoreName(job))
        throw ConversionError(composed(u"{0} Extension d’origine rétablie."_s, {failure.errorDescription()}));
}

} // namespace quorvalent
