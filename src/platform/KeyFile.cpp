#include "platform/KeyFile.h"

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <QFile>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <sstream>
#include <string_view>

namespace quorvalent {

namespace fs = std::filesystem;

namespace {

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

bool isComment(std::string_view line)
{
    return line.empty() || line.front() == '#';
}

/// The temporary neighbour of a file, removed unless it took the file's name.
class Replacement
{
public:
    explicit Replacement(const fs::path &file)
        : m_file(file)
        , m_temporary(file.native() + ".XXXXXX")
        , m_descriptor(::mkostemp(m_temporary.data(), O_CLOEXEC))
    {
        check(m_descriptor.isOpen());
        struct stat former = {};
        if (::lstat(file.c_str(), &former) == 0 && S_ISREG(former.st_mode))
            ::fchmod(m_descriptor.get(), former.st_mode & 07777);
    }
    ~Replacement()
    {
        if (!m_temporary.empty())
            ::unlink(m_temporary.c_str());
    }
    Replacement(const Replacement &) = delete;
    Replacement &operator=(const Replacement &) = delete;

    void commit(const std::string &bytes)
    {
        QFile output;
        check(output.open(m_descriptor.get(), QIODevice::WriteOnly | QIODevice::Unbuffered));
        check(output.write(bytes.data(), qint64(bytes.size())) == qint64(bytes.size()));
        check(::fsync(m_descriptor.get()) == 0);
        check(::rename(m_temporary.c_str(), m_file.c_str()) == 0);
        m_temporary.clear();
    }

private:
    void check(bool succeeded) const
    {
        if (!succeeded)
            throw FileError(errno, m_file);
    }

    fs::path m_file;
    std::string m_temporary;
    FileDescriptor m_descriptor;
};

} // namespace

KeyFile::KeyFile(const std::string &text)
{
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        m_lines.push_back(line);
}

KeyFile KeyFile::read(const fs::path &file)
{
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen()) {
        const FileError failure(errno, file);
        if (failure.isNotFound())
            return KeyFile();
        throw failure;
    }
    QFile input;
    if (!input.open(descriptor.get(), QIODevice::ReadOnly))
        throw FileError(errno, file);
    return KeyFile(input.readAll().toStdString());
}

void KeyFile::write(const fs::path &file) const
{
    std::error_code failed;
    fs::create_directories(file.parent_path(), failed);
    if (failed)
        throw FileError(failed.value(), file.parent_path());
    Replacement(file).commit(text());
}

std::string KeyFile::text() const
{
    std::string text;
    for (const std::string &line : m_lines)
        text += line + '\n';
    return text;
}

KeyFile::Place KeyFile::find(const std::string &group, const std::string &key) const
{
    Place place{std::nullopt, m_lines.size(), false};
    bool isInside = false;
    for (std::size_t number = 0; number < m_lines.size(); ++number) {
        const std::string_view line = trimmed(m_lines[number]);
        if (isComment(line))
            continue;
        if (line.front() == '[')
            isInside = line == "[" + group + "]";
        if (!isInside)
            continue;
        place.hasGroup = true;
        place.end = number + 1;
        if (trimmed(line.substr(0, line.find('='))) == key && line.find('=') != std::string_view::npos)
            place.line = number;
    }
    return place;
}

bool KeyFile::hasGroup(const std::string &group) const
{
    return find(group, {}).hasGroup;
}

std::optional<std::string> KeyFile::value(const std::string &group, const std::string &key) const
{
    const Place place = find(group, key);
    if (!place.line)
        return std::nullopt;
    const std::string_view line = m_lines[*place.line];
    return std::string(trimmed(line.substr(line.find('=') + 1)));
}

void KeyFile::setValue(const std::string &group, const std::string &key, const std::string &value)
{
    const std::string line = key + '=' + value;
    const Place place = find(group, key);
    if (place.line) {
        m_lines[*place.line] = line;
        return;
    }
    if (!place.hasGroup)
        m_lines.push_back("[" + group + "]");
    const std::size_t end = place.hasGroup ? place.end : m_lines.size();
    m_lines.insert(m_lines.begin() + std::ptrdiff_t(end), line);
}

void KeyFile::removeValue(const std::string &group, const std::string &key)
{
    while (const std::optional<std::size_t> line = find(group, key).line)
        m_lines.erase(m_lines.begin() + std::ptrdiff_t(*line));
}

} // namespace quorvalent
