#include "support/TestArchive.h"

#include <archive.h>
#include <archive_entry.h>

#include <stdexcept>

namespace quorvalent::test {

namespace {

unsigned fileTypeOf(EntryType type)
{
    switch (type) {
    case EntryType::Folder:
        return AE_IFDIR;
    case EntryType::Link:
        return AE_IFLNK;
    case EntryType::Device:
        return AE_IFCHR;
    default:
        return AE_IFREG;
    }
}

} // namespace

void writeArchive(const std::filesystem::path &path, const std::vector<ArchiveEntry> &entries)
{
    archive *writer = archive_write_new();
    archive_write_set_format_pax_restricted(writer);
    if (path.extension() == ".zst")
        archive_write_add_filter_zstd(writer);
    if (archive_write_open_filename(writer, path.c_str()) != ARCHIVE_OK)
        throw std::runtime_error("archive not opened");
    for (const ArchiveEntry &entry : entries) {
        archive_entry *header = archive_entry_new();
        archive_entry_set_pathname(header, entry.name.c_str());
        archive_entry_set_filetype(header, fileTypeOf(entry.type));
        archive_entry_set_perm(header, entry.mode);
        const bool hasContent = entry.type == EntryType::File;
        archive_entry_set_size(header, hasContent ? static_cast<la_int64_t>(entry.content.size()) : 0);
        if (entry.type == EntryType::Link)
            archive_entry_set_symlink(header, entry.content.c_str());
        if (entry.type == EntryType::HardLink)
            archive_entry_set_hardlink(header, entry.content.c_str());
        const bool written =
            archive_write_header(writer, header) == ARCHIVE_OK &&
            (!hasContent || archive_write_data(writer, entry.content.data(), entry.content.size()) ==
                                static_cast<la_ssize_t>(entry.content.size()));
        archive_entry_free(header);
        if (!written)
            throw std::runtime_error("archive not written");
    }
    archive_write_close(writer);
    archive_write_free(writer);
}

UpdateRelease signedRelease(const SigningKey &key, const char *version, const std::filesystem::path &archive)
{
    UpdateRelease release;
    release.version = QVersionNumber::fromString(QLatin1StringView(version));
    release.archive = QUrl(QString::fromStdString(archive.filename().native()));
    describeArchive(release, archive, key);
    return release;
}

} // namespace quorvalent::test
