#include "fuzz/FuzzFolder.h"

#include <unistd.h>

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace quorvalent::test {

namespace fs = std::filesystem;

FuzzFolder::FuzzFolder()
    : m_path(fs::temp_directory_path() / ("quorvalent-fuzz-" + std::to_string(::getpid())))
{
    fs::create_directory(m_path);
}

FuzzFolder::~FuzzFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path FuzzFolder::hold(std::span<const std::uint8_t> input) const
{
    for (const fs::directory_entry &entry : fs::directory_iterator(m_path))
        fs::remove_all(entry.path());
    fs::path source = m_path / "source";
    std::ofstream file(source, std::ios::binary);
    file.write(reinterpret_cast<const char *>(input.data()), static_cast<std::streamsize>(input.size()));
    if (!file.flush())
        reportFault("the fuzzer's own folder can be written");
    return source;
}

std::size_t FuzzFolder::entries() const
{
    return static_cast<std::size_t>(std::distance(fs::directory_iterator(m_path), fs::directory_iterator()));
}

void reportFault(const char *promise)
{
    throw std::logic_error(std::string("broken promise: ") + promise);
}

} // namespace quorvalent::test
