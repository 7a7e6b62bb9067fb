#include "platform/FileDescriptor.h"

#include "platform/Error.h"

#include <fcntl.h>

#include <cerrno>

namespace quorvalent {

FileDescriptor FileDescriptor::createForWriting(const std::filesystem::path &path)
{
    FileDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isOpen())
        throw FileError(errno, path);
    return file;
}

} // namespace quorvalent
