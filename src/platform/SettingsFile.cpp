#include "platform/SettingsFile.h"

#include "platform/ConfigFolders.h"
#include "platform/FileDescriptor.h"

#include <QFile>
#include <QMetaType>

#include <fcntl.h>
#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <utility>

namespace quorvalent {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

fs::path bytesOf(const QString &file)
{
    return QFile::encodeName(file).toStdString();
}

// Held by one process at a time and given back when it ends, however it ends; the folder, because a lock on a
// file would be gone with the file that each change replaces. Where there are no locks, QSettings' own must
// do.
FileDescriptor lockedFolderOf(const QString &file)
{
    const fs::path folder = bytesOf(file).parent_path();
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    FileDescriptor descriptor(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    while (::flock(descriptor.get(), LOCK_EX) != 0 && errno == EINTR) {
    }
    return descriptor;
}

} // namespace

SettingsFile::SettingsFile()
    : SettingsFile(QFile::decodeName((ConfigFolders::home() / "quorvalent/quorvalent.conf").c_str()))
{}

SettingsFile::SettingsFile(const QString &file)
    : m_settings(file, QSettings::IniFormat)
    , m_isDamaged(m_settings.status() == QSettings::FormatError)
{
    m_settings.setFallbacksEnabled(false);
}

QVariant SettingsFile::value(const QString &key) const
{
    const auto held = m_held.constFind(key);
    return held != m_held.constEnd() ? *held : m_settings.value(key);
}

std::optional<QString> SettingsFile::string(const QString &key) const
{
    const QVariant stored = value(key);
    if (stored.typeId() != QMetaType::QString)
        return std::nullopt;
    return stored.toString();
}

std::optional<QByteArray> SettingsFile::data(const QString &key) const
{
    const QVariant stored = value(key);
    if (stored.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    return stored.toByteArray();
}

std::optional<bool> SettingsFile::boolean(const QString &key) const
{
    // An INI file knows texts only: "true" and "false" are what it makes of a Boolean.
    const QString text = value(key).toString();
    if (text == u"true"_s)
        return true;
    if (text == u"false"_s)
        return false;
    return std::nullopt;
}

void SettingsFile::set(const QString &key, const QString &value)
{
    change(key, value);
}

void SettingsFile::set(const QString &key, const QByteArray &value)
{
    change(key, value);
}

void SettingsFile::set(const QString &key, bool value)
{
    change(key, value ? u"true"_s : u"false"_s);
}

void SettingsFile::remove(const QString &key)
{
    change(key, {});
}

void SettingsFile::change(const QString &key, const QVariant &value)
{
    m_held[key] = value;
    const FileDescriptor turn = lockedFolderOf(m_settings.fileName());
    m_settings.sync();
    if (m_isDamaged && !keepAside())
        return;
    const QMap<QString, QVariant> changes = std::exchange(m_held, {});
    for (auto entry = changes.cbegin(); entry != changes.cend(); ++entry) {
        if (entry->isValid())
            m_settings.setValue(entry.key(), *entry);
        else
            m_settings.remove(entry.key());
    }
    writeWithTimeOfItsOwn();
}

void SettingsFile::writeWithTimeOfItsOwn()
{
    // QSettings reads what another process wrote only if it notices by size and time, in milliseconds, that
    // the file is another; the kernel's clock for files is coarser still.
    const fs::path file = bytesOf(m_settings.fileName());
    std::error_code missing;
    const fs::file_time_type former = fs::last_write_time(file, missing);
    m_settings.sync();
    if (missing)
        return;
    std::error_code ignored;
    fs::last_write_time(file, std::max(fs::file_time_type::clock::now(), former + 1ms), ignored);
}

bool SettingsFile::keepAside()
{
    std::error_code failed;
    const fs::path damaged = fs::canonical(bytesOf(m_settings.fileName()), failed);
    m_isDamaged = failed != std::errc::no_such_file_or_directory;
    for (int number = 1; m_isDamaged && !failed; ++number) {
        const fs::path aside = damaged.native() + ".damaged-" + std::to_string(number);
        // A second name costs no space, and a change replaces the file and not its content.
        fs::create_hard_link(damaged, aside, failed);
        if (failed && failed != std::errc::file_exists)
            fs::copy_file(damaged, aside, fs::copy_options::none, failed);
        m_isDamaged = static_cast<bool>(failed);
        if (failed == std::errc::file_exists)
            failed.clear();
    }
    return !m_isDamaged;
}

} // namespace quorvalent
