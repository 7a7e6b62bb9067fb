#include "platform/KeyFileDomain.h"

#include "platform/ConfigFolders.h"
#include "platform/Error.h"
#include "platform/KeyFile.h"

#include <utility>

namespace quorvalent {

namespace fs = std::filesystem;

namespace {

std::optional<std::string> storedIn(const fs::path &file, const std::string &group, const QString &key)
{
    try {
        return KeyFile::read(file).value(group, key.toStdString());
    } catch (const FileError &) {
        return std::nullopt; // the application cannot read it either
    }
}

std::optional<bool> truthOf(const std::string &text)
{
    if (text == "true" || text == "false")
        return text == "true";
    bool isNumber = false;
    const double number = QString::fromStdString(text).toDouble(&isNumber);
    return isNumber ? std::optional(number != 0) : std::nullopt;
}

} // namespace

KeyFileDomain::KeyFileDomain(const fs::path &name, std::string group)
    : m_file(ConfigFolders::home() / name)
    , m_group(std::move(group))
{
    for (const fs::path &folder : ConfigFolders::system())
        m_imposing.push_back(folder / name);
}

std::optional<std::string> KeyFileDomain::forced(const QString &key) const
{
    for (const fs::path &file : m_imposing) {
        if (std::optional<std::string> value = storedIn(file, m_group, key))
            return value;
    }
    return std::nullopt;
}

bool KeyFileDomain::isForced(const QString &key) const
{
    return forced(key).has_value();
}

std::optional<bool> KeyFileDomain::boolean(const QString &key) const
{
    std::optional<std::string> stored = forced(key);
    if (!stored)
        stored = storedIn(m_file, m_group, key);
    return stored ? truthOf(*stored) : std::nullopt;
}

bool KeyFileDomain::set(const QString &key, bool value)
{
    try {
        // People keep such files elsewhere and link to them.
        std::error_code missing;
        const fs::path target = fs::canonical(m_file, missing);
        const fs::path &file = missing ? m_file : target;
        KeyFile content = KeyFile::read(file);
        content.setValue(m_group, key.toStdString(), value ? "true" : "false");
        content.write(file);
        return true;
    } catch (const FileError &) {
        return false;
    }
}

} // namespace quorvalent
