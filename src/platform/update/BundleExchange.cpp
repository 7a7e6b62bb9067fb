#include "platform/update/BundleExchange.h"

#include "platform/Error.h"
#include "platform/Files.h"

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

fs::path privateFolderBeside(const fs::path &bundle)
{
    return bundle.parent_path() / ("." + bundle.filename().native() + ".update");
}

bool isBelow(const fs::path &folder, const fs::path &path)
{
    const fs::path relative = path.lexically_relative(folder);
    return !relative.empty() && *relative.begin() != "..";
}

bool namesPackage(const fs::path &bundle)
{
    QFile information(bundle / "Contents/Info.json");
    return information.open(QIODevice::ReadOnly) &&
           QJsonDocument::fromJson(information.readAll()).object().contains("QuorvalentPackage"_L1);
}

bool mayWrite(const fs::path &folder)
{
    return ::faccessat(AT_FDCWD, folder.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

// In a folder like /tmp only the owner of an item may rename it.
bool mayRenameIn(const fs::path &parent, const fs::path &item)
{
    struct stat folder = {};
    struct stat status = {};
    if (::stat(parent.c_str(), &folder) != 0 || ::lstat(item.c_str(), &status) != 0)
        return false;
    const uid_t user = ::geteuid();
    return (folder.st_mode & S_ISVTX) == 0 || user == 0 || user == folder.st_uid || user == status.st_uid;
}

void swap(const fs::path &one, const fs::path &other)
{
    if (::renameat2(AT_FDCWD, one.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE) != 0)
        throw FileError(errno, one);
}

void makePrivateFolder(const Files &files, const fs::path &folder)
{
    try {
        files.createPrivateFolder(folder);
    } catch (const FileError &failure) {
        const FileAttributes found = files.attributes(folder);
        if (!failure.isOccupied() || found.type != FileType::Folder || !found.isOwn)
            throw;
    }
}

std::optional<LockedFile> claimIn(const fs::path &folder)
{
    try {
        return LockedFile::create(folder / "claim");
    } catch (const FileError &failure) {
        if (failure.isNotFound())
            return std::nullopt; // another process is just clearing up
        if (!failure.isOccupied())
            throw;
        return LockedFile::take(folder / "claim");
    }
}

} // namespace

BundleOwner ownerOf(const fs::path &bundle)
{
    if ((isBelow("/usr", bundle) && !isBelow("/usr/local", bundle)) || namesPackage(bundle))
        return BundleOwner::PackageManager;
    const fs::path parent = bundle.parent_path();
    return mayWrite(parent) && mayWrite(bundle) && mayRenameIn(parent, bundle) ? BundleOwner::User
                                                                               : BundleOwner::SomeoneElse;
}

std::optional<BundleExchange> BundleExchange::begin(const fs::path &bundle)
{
    const Files files;
    const fs::path folder = privateFolderBeside(bundle);
    makePrivateFolder(files, folder);
    std::optional<LockedFile> claim = claimIn(folder);
    if (!claim)
        return std::nullopt;
    BundleExchange exchange(bundle, folder, std::move(*claim));
    files.removeTree(exchange.candidate());
    files.removeTree(exchange.archive());
    return exchange;
}

BundleExchange::BundleExchange(fs::path bundle, fs::path folder, LockedFile claim)
    : m_bundle(std::move(bundle))
    , m_folder(std::move(folder))
    , m_claim(std::move(claim))
{}

BundleExchange::BundleExchange(BundleExchange &&other) noexcept
    : m_bundle(std::exchange(other.m_bundle, {}))
    , m_folder(std::exchange(other.m_folder, {}))
    , m_claim(std::exchange(other.m_claim, std::nullopt))
    , m_isExchanged(std::exchange(other.m_isExchanged, false))
{}

BundleExchange::~BundleExchange()
{
    if (!m_claim)
        return;
    try {
        if (m_isExchanged)
            undo();
        Files().removeTree(m_folder);
    } catch (const Error &) {
        return; // what is left is cleared by the next update
    }
}

FileDescriptor BundleExchange::createArchive() const
{
    FileDescriptor file(
        ::open(archive().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        throw FileError(errno, archive());
    return file;
}

void BundleExchange::exchange()
{
    const Files files;
    files.flush(candidate());
    swap(candidate(), m_bundle);
    m_isExchanged = true;
    files.flush(m_bundle.parent_path());
    files.flush(m_folder);
}

void BundleExchange::undo()
{
    swap(candidate(), m_bundle);
    m_isExchanged = false;
    Files().flush(m_bundle.parent_path());
}

} // namespace quorvalent
