#include "platform/NamelessFile.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace quorvalent {

FileDescriptor createNamelessFile(const std::filesystem::path &folder)
{
    if (!folder.is_absolute())
        throw FileError(ENOENT, folder); // it would be another folder after a change of the working folder
    FileDescriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (file.isOpen())
        return file;
    std::string name = (folder / "nameless-XXXXXX").native();
    file = FileDescriptor(::mkostemp(name.data(), O_CLOEXEC));
    if (!file.isOpen())
        throw FileError(errno, folder);
    ::unlink(name.c_str());
    return file;
}

} // namespace quorvalent
