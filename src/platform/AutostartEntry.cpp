#include "platform/AutostartEntry.h"

#include "platform/Bundle.h"
#include "platform/ConfigFolders.h"
#include "platform/Error.h"
#include "platform/KeyFile.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace quorvalent {

namespace fs = std::filesystem;

namespace {

const std::string group = "Desktop Entry";
const std::string switchedOn = "X-GNOME-Autostart-enabled";
const std::string hidden = "Hidden";
const std::string command = "Exec";
const std::string neededProgram = "TryExec";

std::string withBackslashBefore(std::string_view special, std::string_view text)
{
    std::string escaped;
    for (const char letter : text) {
        if (special.find(letter) != std::string_view::npos)
            escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

// A value of a key file is one line.
constexpr std::array<std::pair<char, char>, 4> keyFileEscapes{
    {{'\\', '\\'}, {'\n', 'n'}, {'\r', 'r'}, {'\t', 't'}}};

std::string keyFileValue(std::string_view text)
{
    std::string value;
    for (const char letter : text) {
        const auto *escape = std::find_if(keyFileEscapes.begin(), keyFileEscapes.end(),
                                          [letter](const auto &pair) { return pair.first == letter; });
        value += escape == keyFileEscapes.end() ? std::string(1, letter) : std::string{'\\', escape->second};
    }
    return value;
}

// The entry names a program that is not there: of a copy that was moved or removed since.
bool startsNothing(const KeyFile &entry, const fs::path &program)
{
    const std::optional<std::string> needed = entry.value(group, neededProgram);
    if (!needed)
        return false;
    const fs::path named = *needed == keyFileValue(program.native()) ? program : fs::path(*needed);
    return named.is_absolute() && !Bundle::isExecutableFile(named);
}

} // namespace

std::string execValue(const fs::path &program)
{
    std::string word;
    for (const char letter : withBackslashBefore("\"`$\\", program.native())) {
        word += letter;
        if (letter == '%')
            word += '%'; // a single one would start a field code
    }
    return keyFileValue('"' + word + '"');
}

AutostartEntry::AutostartEntry()
    : AutostartEntry(ConfigFolders::home() / "autostart/quorvalent.desktop",
                     Bundle::root() / "bin/quorvalent")
{}

AutostartEntry::AutostartEntry(fs::path entry, fs::path program)
    : m_entry(std::move(entry))
    , m_program(std::move(program))
{}

LoginItem::Status AutostartEntry::status() const
{
    KeyFile entry;
    try {
        entry = KeyFile::read(m_entry);
    } catch (const FileError &) {
        return Status::NotRegistered; // no session can read it either
    }
    if (entry.value(group, hidden) == "true" || entry.value(group, switchedOn) == "false")
        return Status::RequiresApproval;
    const bool starts = entry.value(group, command) && !startsNothing(entry, m_program);
    return starts ? Status::Enabled : Status::NotRegistered;
}

void AutostartEntry::enable()
{
    KeyFile entry = KeyFile::read(m_entry);
    if (!entry.hasGroup(group))
        entry = KeyFile();
    entry.setValue(group, "Type", "Application");
    if (!entry.value(group, "Name"))
        entry.setValue(group, "Name", "Quorvalent");
    if (!entry.value(group, "Icon"))
        entry.setValue(group, "Icon", "quorvalent");
    entry.setValue(group, command, execValue(m_program));
    entry.setValue(group, neededProgram, keyFileValue(m_program.native()));
    entry.setValue(group, switchedOn, "true");
    entry.removeValue(group, hidden);
    entry.write(m_entry);
}

void AutostartEntry::disable()
{
    std::error_code failed;
    fs::remove(m_entry, failed);
    if (failed)
        throw FileError(failed.value(), m_entry);
}

} // namespace quorvalent
