#include "convert/OriginalsFolder.h"

#include "platform/Error.h"
#include "platform/LockedFile.h"

#include <QUuid>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

constexpr char recordName[] = "entry"; // a media file's name has an extension
constexpr int randomDigits = 8;

// The result's inode leads to the entry; the rest tells two that had the same one.
std::string prefixOf(const FileMark &result)
{
    return result.fileNumber.toStdString() + '-';
}

bool isEntryName(const std::string &name)
{
    const std::size_t dash = name.find('-');
    return dash != std::string::npos && dash > 0 && name.size() == dash + 1 + randomDigits &&
           name.find_first_not_of("0123456789") == dash;
}

} // namespace

OriginalsFolder::OriginalsFolder(const Files &files, fs::path path)
    : m_files(files)
    , m_path(std::move(path))
{}

bool OriginalsFolder::isUsable() const
{
    try {
        const FileAttributes found = m_files.attributes(m_path);
        std::error_code failure;
        // Volumes without permissions of their own show everybody's right to read, and mount options decide.
        const fs::perms others =
            fs::status(m_path, failure).permissions() & (fs::perms::group_write | fs::perms::others_write);
        return found.type == FileType::Folder && found.isOwn && !failure && others == fs::perms::none;
    } catch (const Error &) {
        return false;
    }
}

bool OriginalsFolder::create() const
{
    try {
        m_files.createPrivateFolder(m_path);
    } catch (const Error &) {
        // There already, or it cannot be made: the look tells.
    }
    return isUsable();
}

void OriginalsFolder::removeIfEmpty() const
{
    try {
        m_files.remove(m_path);
    } catch (const Error &) {
        // Something is kept, or it is not there.
    }
}

void OriginalsFolder::keep(const fs::path &from, const KeptOriginal &record) const
{
    const std::string random =
        QUuid::createUuid().toString(QUuid::WithoutBraces).left(randomDigits).toStdString();
    const fs::path entry = m_path / (prefixOf(record.result) + random);
    m_files.createPrivateFolder(entry);
    try {
        // The record first: whatever kills the program, a file in here is known.
        LockedFile::create(entry / recordName).write(record.encoded());
        m_files.moveNoReplace(from, entry / record.name);
    } catch (...) {
        KeptOriginal begun;
        begun.entry = entry;
        drop(begun);
        throw;
    }
}

std::optional<KeptOriginal> OriginalsFolder::replacedBy(const FileMark &result) const
{
    std::optional<KeptOriginal> newest;
    for (const fs::path &entry : entries(prefixOf(result))) {
        KeptOriginal kept = read(entry);
        if (kept.result == result && kept.isWhole() && (!newest || newest->since < kept.since))
            newest = std::move(kept);
    }
    return newest;
}

std::vector<KeptOriginal> OriginalsFolder::all() const
{
    std::vector<KeptOriginal> found;
    for (const fs::path &entry : entries({}))
        found.push_back(read(entry));
    std::ranges::sort(found, {}, &KeptOriginal::since);
    return found;
}

void OriginalsFolder::drop(const KeptOriginal &kept) const
{
    try {
        m_files.removeTree(kept.entry);
    } catch (const Error &) {
        // It is tried again when the next one expires.
    }
}

std::vector<fs::path> OriginalsFolder::entries(const std::string &prefix) const
{
    std::vector<fs::path> found;
    std::error_code failure; // no folder, no entries
    fs::directory_iterator entry(m_path, failure);
    for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
        const std::string name = entry->path().filename().native();
        if (name.starts_with(prefix) && isEntryName(name))
            found.push_back(entry->path());
    }
    return found;
}

KeptOriginal OriginalsFolder::read(const fs::path &entry) const
{
    std::ifstream file(entry / recordName, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::optional<KeptOriginal> kept = KeptOriginal::decoded(bytes);
    if (!kept) {
        kept = KeptOriginal();
        try {
            kept->since = std::chrono::floor<std::chrono::seconds>(m_files.attributes(entry).modified);
        } catch (const Error &) {
            // Gone meanwhile: as old as can be.
        }
    }
    kept->entry = entry;
    return *kept;
}

} // namespace quorvalent
