#pragma once

#include "platform/LoginItem.h"

#include <filesystem>
#include <string>

namespace quorvalent {

/// The login item as an entry in the folder of programs that a session starts (XDG Autostart). What the user
/// or the desktop added to the entry stays, a delay for instance.
class AutostartEntry : public LoginItem
{
public:
    /// This user's entry, for the program of this bundle.
    AutostartEntry();
    AutostartEntry(std::filesystem::path entry, std::filesystem::path program);

    [[nodiscard]] Status status() const override;
    void enable() override;
    void disable() override;

private:
    std::filesystem::path m_entry;
    std::filesystem::path m_program;
};

/// The program as the one word of an entry's Exec line, quoted and escaped as the Desktop Entry
/// Specification asks: first for the command line, then as a value of a key file.
[[nodiscard]] std::string execValue(const std::filesystem::path &program);

} // namespace quorvalent
