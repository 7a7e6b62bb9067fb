#pragma once

#include "ui/views/FoldersSection.h"

namespace quorvalent {

/// Asks for folders with the desktop's own dialog (the portal's), else with Qt's; both take several at once.
/// Returns at once; nothing is handed over when the user cancels.
[[nodiscard]] ChooseFolders desktopFolderChooser();

} // namespace quorvalent
