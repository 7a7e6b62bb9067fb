#include "platform/NumberClaim.h"

#include "platform/Error.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <limits>

namespace quorvalent {

std::optional<NumberClaim> NumberClaim::take(const std::filesystem::path &path, std::uint64_t number)
{
    const std::filesystem::path folder = path.parent_path();
    std::error_code ignored; // the next call says what is missing
    std::filesystem::create_directories(folder.parent_path(), ignored);
    if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw FileError(errno, folder);
    FileDescriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        throw FileError(errno, path);
    struct flock range = {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = static_cast<off_t>(number % std::uint64_t(std::numeric_limits<off_t>::max()));
    range.l_len = 1;
    if (::fcntl(file.get(), F_OFD_SETLK, &range) == 0)
        return NumberClaim(std::move(file));
    if (errno == EAGAIN || errno == EACCES)
        return std::nullopt;
    throw FileError(errno, path);
}

} // namespace quorvalent
