#include "platform/BaseFolder.h"

#include <QFile>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace quorvalent {

namespace fs = std::filesystem;

namespace {

fs::path home()
{
    const char *variable = std::getenv("HOME");
    if (variable != nullptr && *variable == '/')
        return variable;
    const passwd *user = ::getpwuid(::geteuid());
    return user != nullptr && user->pw_dir != nullptr && *user->pw_dir == '/' ? user->pw_dir : "/";
}

} // namespace

fs::path baseFolder(QStandardPaths::StandardLocation location, const char *belowHome)
{
    const fs::path folder = QFile::encodeName(QStandardPaths::writableLocation(location)).toStdString();
    return folder.is_absolute() ? folder : home() / belowHome;
}

fs::path baseFolder(const char *variable, const char *belowHome)
{
    const char *folder = std::getenv(variable);
    return folder != nullptr && *folder == '/' ? fs::path(folder) : home() / belowHome;
}

} // namespace quorvalent
