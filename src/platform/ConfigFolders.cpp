#include "platform/ConfigFolders.h"

#include "platform/BaseFolder.h"

#include <QFile>

namespace quorvalent::ConfigFolders {

namespace fs = std::filesystem;

fs::path home()
{
    return baseFolder(QStandardPaths::GenericConfigLocation, ".config");
}

std::vector<fs::path> system()
{
    std::vector<fs::path> folders;
    // The user's own comes first.
    for (const QString &folder :
         QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation).mid(1))
        folders.emplace_back(QFile::encodeName(folder).toStdString());
    return folders;
}

} // namespace quorvalent::ConfigFolders
