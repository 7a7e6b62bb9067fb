#include "convert/SafeReplacement.h"

#include "core/ConversionError.h"
#include "platform/ComposedText.h"

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

ConversionError changedMeanwhile()
{
    return ConversionError(u"Le fichier a été modifié pendant la conversion. Aucun remplacement effectué."_s);
}

OriginalLeftError originalLeftAt(const fs::path &backup)
{
    return OriginalLeftError(
        composed(u"Échec du remplacement. Original intact : {0}"_s, {displayText(backup)}));
}

RemainingOriginal remaining(const fs::path &place, const QString &sentence)
{
    return {place, composed(sentence, {displayName(place)})};
}

} // namespace

SafeReplacement::SafeReplacement(const Files &files, const RenameJob &job, const WorkFolder &work)
    : m_files(files)
    , m_job(job)
    , m_work(work)
{}

Replaced SafeReplacement::run(bool keepsOriginal, const TakeOriginal &take) const
{
    requireUnchanged();
    m_files.carryOverAttributes(m_job.newURL, m_work.output());
    return swap(m_work.output(), keepsOriginal, take);
}

Replaced SafeReplacement::bringBack(const fs::path &kept) const
{
    requireUnchanged();
    return swap(kept, false, {});
}

Replaced SafeReplacement::swap(const fs::path &replacement, bool keepsOriginal,
                               const TakeOriginal &take) const
{
    m_files.flush(replacement);
    m_work.flushJournal();
    const FileStamp result = FileStamp::read(replacement); // once in place, it is anybody's to change
    requireUnchanged();                                    // flushing a long result takes its time
    const fs::path backup = m_files.exists(m_job.oldURL) ? m_work.collisionBackup() : m_job.oldURL;
    moveAside(backup);
    moveIn(replacement, backup);
    try {
        // What is in the folder, not its name: that may be a link to the folder.
        m_files.flush(m_job.newURL.parent_path() / ".");
    } catch (const Error &) {
        // The result is in place, but maybe not yet on the disk.
        return {result, remaining(backup, u"L’enregistrement du dossier sur le disque a échoué ; l’original "
                                          "reste sous « {0} »."_s)};
    }
    if (keepsOriginal)
        return {result, RemainingOriginal{backup, {}}};
    return {result, removeOriginal(backup, take, result)};
}

void SafeReplacement::requireUnchanged() const
{
    if (FileStamp::read(m_job.newURL) != m_job.stamp)
        throw changedMeanwhile();
}

void SafeReplacement::moveAside(const fs::path &backup) const
{
    m_files.moveNoReplace(m_job.newURL, backup);
    if (m_job.stamp.isAt(backup))
        return;
    // Between the last look and the move somebody wrote into the file or saved another over it.
    try {
        m_files.moveNoReplace(backup, m_job.newURL);
    } catch (const Error &) {
        if (m_files.exists(backup))
            throw originalLeftAt(backup);
    }
    throw changedMeanwhile();
}

void SafeReplacement::moveIn(const fs::path &replacement, const fs::path &backup) const
{
    try {
        m_files.moveNoReplace(replacement, m_job.newURL);
    } catch (const Error &) {
        throw originalLeftAt(backup);
    }
}

std::optional<RemainingOriginal> SafeReplacement::removeOriginal(const fs::path &backup,
                                                                 const TakeOriginal &take,
                                                                 const FileStamp &result) const
{
    // First the open files, then the stamp: whoever closed the file in between has changed the stamp.
    if (m_files.isOpenForWriting(backup))
        return remaining(
            backup, u"L’original est encore ouvert en écriture dans un programme ; il reste sous « {0} »."_s);
    if (!m_job.stamp.isAt(backup))
        return remaining(backup,
                         u"L’original a été modifié pendant son remplacement ; il reste sous « {0} »."_s);
    if (take && take(backup, result))
        return std::nullopt;
    try {
        m_files.remove(backup);
    } catch (const Error &) {
        return remaining(backup, u"La suppression de l’original a échoué ; il reste sous « {0} »."_s);
    }
    return std::nullopt;
}

} // namespace quorvalent
