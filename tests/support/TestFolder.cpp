#include "support/TestFolder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace quorvalent::test {

namespace fs = std::filesystem;

TestFolder::TestFolder()
{
    std::string pattern = (fs::temp_directory_path() / "quorvalent d'été XXXXXX").native();
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    m_path = pattern;
}

TestFolder::~TestFolder()
{
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
}

fs::path TestFolder::write(const fs::path &name, const std::string &bytes) const
{
    const fs::path path = m_path / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string TestFolder::read(const fs::path &name) const
{
    std::ifstream file(m_path / name, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + name.native());
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> TestFolder::listing() const
{
    std::vector<std::string> items;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(m_path)) {
        std::string name = entry.path().lexically_relative(m_path).native();
        items.push_back(entry.is_directory() && !entry.is_symlink() ? name + "/" : name);
    }
    std::sort(items.begin(), items.end());
    return items;
}

} // namespace quorvalent::test
