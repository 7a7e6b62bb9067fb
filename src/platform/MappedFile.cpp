#include "platform/MappedFile.h"

#include "platform/FileDescriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

namespace quorvalent {

std::optional<MappedFile> MappedFile::open(const std::filesystem::path &path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status = {};
    if (!file.isOpen() || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        status.st_size <= 0)
        return std::nullopt;
    const auto size = static_cast<std::size_t>(status.st_size);
    void *data = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    if (data == MAP_FAILED)
        return std::nullopt;
    return MappedFile(data, size);
}

MappedFile::~MappedFile()
{
    if (m_data != nullptr)
        ::munmap(m_data, m_size);
}

} // namespace quorvalent
