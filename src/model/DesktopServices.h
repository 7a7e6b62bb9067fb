#pragma once

#include "platform/LoginItem.h"
#include "platform/PreferencesDomain.h"
#include "platform/UserDefaults.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace quorvalent {

/// What the model needs of the user's desktop. Everything is called on the main thread and every member but
/// the domain must be set.
struct DesktopServices
{
    std::unique_ptr<UserDefaults> defaults;
    std::unique_ptr<LoginItem> loginItem;
    /// Where the file manager keeps whether it warns before a rename changes an extension; none where it has
    /// no such setting.
    std::unique_ptr<PreferencesDomain> fileManager;
    /// Opens a file with the user's program for it.
    std::function<void(const std::filesystem::path &)> openFile;
    /// Shows a file, selected in its folder, in the user's file manager.
    std::function<void(const std::filesystem::path &)> showFile;
    /// A file of the application's own by its name and its subfolder ("" for none).
    std::function<std::optional<std::filesystem::path>(const QString &name, const QString &subdirectory)>
        resource;
    /// The texts of the program speak this language from now on: a language code or "system".
    std::function<void(const QString &choice)> setLanguage;
    /// The code of the language that they speak now.
    std::function<QString()> languageCode;
    /// The text to show for a French source text.
    std::function<QString(const QString &)> translate;
};

/// The running user's desktop. What opens and shows files comes from above, for it needs the user interface's
/// libraries.
[[nodiscard]] DesktopServices systemDesktop(std::function<void(const std::filesystem::path &)> openFile,
                                            std::function<void(const std::filesystem::path &)> showFile);

/// For programs that touch nothing of the desktop: settings last as long as the program, nothing is opened
/// or registered.
[[nodiscard]] DesktopServices noDesktop();

} // namespace quorvalent
