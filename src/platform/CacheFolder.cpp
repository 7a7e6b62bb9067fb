#include "platform/CacheFolder.h"

#include "platform/BaseFolder.h"
#include "platform/Error.h"

#include <sys/stat.h>

#include <cerrno>
#include <system_error>

namespace quorvalent::CacheFolder {

namespace fs = std::filesystem;

fs::path existing()
{
    const fs::path caches = baseFolder(QStandardPaths::GenericCacheLocation, ".cache");
    std::error_code failed;
    fs::create_directories(caches, failed);
    if (failed)
        throw FileError(failed.value(), caches);
    const fs::path folder = caches / "quorvalent";
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw FileError(errno, caches);
    return folder;
}

} // namespace quorvalent::CacheFolder
