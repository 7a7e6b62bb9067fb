#include "platform/ConfigFolders.h"

#include <QFile>
#include <QStandardPaths>

namespace quorvalent::ConfigFolders {

namespace fs = std::filesystem;

fs::path home()
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
    return QFile::encodeName(folder).toStdString();
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
