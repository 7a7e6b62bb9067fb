#include "model/DesktopServices.h"

#include "i18n/Localization.h"
#include "platform/AutostartEntry.h"
#include "platform/Bundle.h"
#include "platform/SettingsFile.h"

#include <utility>

namespace quorvalent {

DesktopServices systemDesktop(std::function<void(const std::filesystem::path &)> openFile,
                              std::function<void(const std::filesystem::path &)> showFile)
{
    DesktopServices desktop;
    desktop.defaults = std::make_unique<SettingsFile>();
    desktop.loginItem = std::make_unique<AutostartEntry>();
    // No file manager of Linux has such a setting today; one that gains it needs a domain here.
    desktop.fileManager = nullptr;
    desktop.openFile = std::move(openFile);
    desktop.showFile = std::move(showFile);
    desktop.resource = &Bundle::resource;
    desktop.setLanguage = [](const QString &choice) { Localization::override = choice; };
    desktop.languageCode = &Localization::code;
    desktop.translate = &L;
    return desktop;
}

} // namespace quorvalent
