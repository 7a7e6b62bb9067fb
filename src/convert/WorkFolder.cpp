#include "convert/WorkFolder.h"

#include "platform/Error.h"

#include <QUuid>

#include <climits>
#include <string>
#include <system_error>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr char prefix[] = ".quorvalent-";
constexpr char mediaName[] = "media";

std::string newUuid()
{
    return QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper().toStdString();
}

// The name without its extension gives way where the whole would not fit, between two UTF-8 characters.
fs::path collisionBackupOf(const fs::path &oldURL)
{
    const std::string suffix = ".original-" + newUuid().substr(0, 8) + oldURL.extension().native();
    std::string stem = nameWithoutExtension(oldURL).native();
    if (stem.size() + suffix.size() > NAME_MAX) {
        std::size_t length = NAME_MAX - suffix.size();
        while (length > 1 && (static_cast<unsigned char>(stem[length]) & 0xC0U) == 0x80U)
            --length;
        stem.resize(length);
    }
    return oldURL.parent_path() / (stem + suffix);
}

void tryToRemove(const Files &files, const fs::path &workFolder)
{
    try {
        const fs::path journal = WorkFolder::journalIn(workFolder);
        for (const fs::directory_entry &entry : fs::directory_iterator(workFolder)) {
            if (entry.path() != journal)
                files.removeTree(entry.path());
        }
        files.removeTree(journal);
        files.remove(workFolder);
    } catch (const std::exception &) {
        // Best effort: what stays is found and removed at the next start.
    }
}

} // namespace

WorkFolder::WorkFolder(const Files &files, const RenameJob &job, bool keepsOriginal)
    : m_files(files)
    , m_collisionBackup(collisionBackupOf(job.oldURL))
{
    // Another copy of the program that is just starting may take the folder for an abandoned one before its
    // journal is locked; it does so once, then it is past this folder.
    try {
        create(job, keepsOriginal);
    } catch (const FileError &failure) {
        if (!failure.isNotFound())
            throw;
        create(job, keepsOriginal);
    }
    m_sourceCopy = sourceCopyIn(m_path, job.oldURL.filename());
    m_output = m_path / mediaName / ("output." + pathExtension(job.newURL).toLower().toStdString());
}

void WorkFolder::create(const RenameJob &job, bool keepsOriginal)
{
    m_path = job.newURL.parent_path() / (prefix + newUuid());
    m_files.createPrivateFolder(m_path);
    try {
        m_journal = LockedFile::create(journalIn(m_path));
        m_journal->write(SwapJournal::of(job, m_collisionBackup.filename(), keepsOriginal).encoded());
        m_files.createPrivateFolder(m_path / mediaName);
    } catch (...) {
        removeFolder(m_files, m_path, m_journal);
        throw;
    }
}

WorkFolder::~WorkFolder()
{
    removeFolder(m_files, m_path, m_journal);
}

void WorkFolder::flushJournal() const
{
    // A new file's flush brings the names it stands under with it on every journalling file system; where it
    // does not, a power cut costs the notice and not a byte.
    m_files.flush(journalIn(m_path));
}

bool WorkFolder::isWorkFolderName(const fs::path &name)
{
    const auto text = QByteArray::fromStdString(name.native());
    if (!text.startsWith(prefix))
        return false;
    const QByteArray uuid = text.mid(static_cast<qsizetype>(sizeof prefix) - 1);
    return QUuid::fromString(QLatin1String(uuid)).toByteArray(QUuid::WithoutBraces).toUpper() == uuid;
}

fs::path WorkFolder::journalIn(const fs::path &workFolder)
{
    return workFolder / "journal";
}

fs::path WorkFolder::sourceCopyIn(const fs::path &workFolder, const fs::path &oldName)
{
    return workFolder / mediaName / ("source" + oldName.extension().native());
}

void WorkFolder::removeFolder(const Files &files, const fs::path &workFolder,
                              std::optional<LockedFile> &journal)
{
    tryToRemove(files, workFolder);
    journal.reset();
    // On FUSE an open file that is removed keeps another name in its folder until it is closed.
    if (files.exists(workFolder))
        tryToRemove(files, workFolder);
}

} // namespace quorvalent
