#include "convert/InterruptedWork.h"

#include "convert/WorkFolder.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <optional>
#include <vector>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
namespace fs = std::filesystem;

/// Nothing where no item stands; throws FileError where the system cannot tell, which is no answer.
std::optional<FileAttributes> found(const Files &files, const fs::path &place)
{
    try {
        return files.attributes(place);
    } catch (const FileError &failure) {
        if (!failure.isNotFound())
            throw;
        return std::nullopt;
    }
}

/// One abandoned work folder whose lock this process holds. Every function but the constructor throws
/// FileError when it cannot look at a place; nothing is removed then.
class Restoration
{
public:
    Restoration(const Files &files, const fs::path &workFolder, const SwapJournal &journal)
        : m_files(files)
        , m_journal(journal)
        , m_oldURL(workFolder.parent_path() / journal.oldName)
        , m_newURL(workFolder.parent_path() / journal.newName)
        , m_aside(workFolder.parent_path() / journal.collisionName)
        , m_copy(WorkFolder::sourceCopyIn(workFolder, journal.oldName))
    {}

    /// What the user must know, if anything.
    [[nodiscard]] std::optional<InterruptedConversion> run() const
    {
        const std::optional<QString> sentence = putRight();
        return sentence ? std::optional(InterruptedConversion{m_newURL, *sentence}) : std::nullopt;
    }

    [[nodiscard]] bool isCopyStillNeeded() const
    {
        return isCopyComplete() && !found(m_files, m_newURL) && !isOriginalAt(m_oldURL) &&
               !isOriginalAt(m_aside);
    }

private:
    [[nodiscard]] std::optional<QString> putRight() const
    {
        // The order is the order of the swap: not yet moved, moved to the old name, moved elsewhere.
        if (isOriginalAt(m_newURL))
            return originalAt(movedToFirstFree(m_newURL, {m_oldURL}));
        const bool hasResult = found(m_files, m_newURL).has_value();
        if (hasResult && m_journal.keepsOriginal)
            return std::nullopt;
        if (isOriginalAt(m_oldURL))
            return originalAt(m_oldURL);
        if (isOriginalAt(m_aside)) {
            if (hasResult)
                return originalAt(m_aside);
            return originalAt(movedToFirstFree(m_aside, {m_oldURL, m_newURL}));
        }
        // Nothing bears the new name and the original is nowhere: the copy may be the last of its bytes.
        if (!hasResult && isCopyComplete())
            return composed(u"La conversion de « {0} » a été interrompue. Copie de l’original : {1}"_s,
                            {displayName(m_newURL), displayText(rescuedCopy())});
        return std::nullopt;
    }

    [[nodiscard]] bool isOriginalAt(const fs::path &place) const
    {
        const std::optional<FileAttributes> item = found(m_files, place);
        return item && m_journal.isOriginal(*item);
    }

    [[nodiscard]] bool isCopyComplete() const
    {
        const std::optional<FileAttributes> copy = found(m_files, m_copy);
        return copy && copy->type == FileType::Regular && copy->sizeBytes == m_journal.sizeBytes;
    }

    [[nodiscard]] fs::path movedToFirstFree(const fs::path &from, const std::vector<fs::path> &places) const
    {
        for (const fs::path &place : places) {
            try {
                m_files.moveNoReplace(from, place);
                return place;
            } catch (const Error &) {
                continue; // taken or refused: the file stays where it is unless the next place takes it
            }
        }
        return from;
    }

    [[nodiscard]] fs::path rescuedCopy() const
    {
        try {
            m_files.flush(m_copy);
        } catch (const Error &) {
            return m_copy;
        }
        return movedToFirstFree(m_copy, {m_oldURL, m_aside});
    }

    [[nodiscard]] QString originalAt(const fs::path &place) const
    {
        return composed(u"La conversion de « {0} » a été interrompue. Original intact : {1}"_s,
                        {displayName(m_newURL), displayText(place)});
    }

    const Files &m_files;
    const SwapJournal &m_journal;
    fs::path m_oldURL;
    fs::path m_newURL;
    fs::path m_aside;
    fs::path m_copy;
};

std::optional<InterruptedConversion> putRight(const Files &files, const fs::path &workFolder)
{
    const FileAttributes attributes = files.attributes(workFolder);
    if (attributes.type != FileType::Folder || !attributes.isOwn)
        return std::nullopt;
    const fs::path journalPath = WorkFolder::journalIn(workFolder);
    if (!found(files, journalPath)) {
        files.remove(workFolder); // killed before its journal: empty, or not one of ours and refused
        return std::nullopt;
    }
    std::optional<LockedFile> lock = LockedFile::take(journalPath);
    if (!lock)
        return std::nullopt;
    std::optional<InterruptedConversion> told;
    // An incomplete journal was never followed by a move: the original is where the user left it.
    if (const std::optional<SwapJournal> journal = SwapJournal::decoded(lock->read())) {
        const Restoration restoration(files, workFolder, *journal);
        told = restoration.run();
        if (restoration.isCopyStillNeeded())
            return told;
    }
    WorkFolder::removeFolder(files, workFolder, lock);
    return told;
}

} // namespace

std::optional<InterruptedConversion> restoreInterruptedWork(const fs::path &workFolder, const Files &files)
{
    try {
        return putRight(files, workFolder);
    } catch (const FileError &failure) {
        if (failure.isNotFound() || failure.isOccupied())
            return std::nullopt; // gone, or not one of ours
        return InterruptedConversion{
            workFolder,
            composed(u"{0} Une conversion interrompue n’a pas pu être réparée : {1} reste en place "
                     u"jusqu’au prochain démarrage."_s,
                     {failure.errorDescription(), displayText(workFolder)})};
    }
}

} // namespace quorvalent
