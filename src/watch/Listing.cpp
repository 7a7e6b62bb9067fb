#include "watch/Listing.h"

#include <algorithm>
#include <utility>

namespace quorvalent {

namespace {

// Below this, bytes of names that are gone are not worth a copy of the others.
constexpr std::size_t fewBytes = 1024;

} // namespace

std::vector<FoundFile>::iterator Listing::Folder::at(std::string_view name)
{
    const auto ofFile = [this](const FoundFile &file) { return nameOf(file); };
    // Most folders are never asked about.
    if (!std::exchange(isSorted, true))
        std::ranges::sort(files, {}, ofFile);
    return std::ranges::lower_bound(files, name, {}, ofFile);
}

void Listing::Folder::pack()
{
    if (unusedBytes < fewBytes || unusedBytes < names.size() / 2)
        return;
    std::string packed;
    packed.reserve(names.size() - unusedBytes);
    for (FoundFile &file : files) {
        const std::string_view name = nameOf(file);
        file.nameOffset = static_cast<std::uint32_t>(packed.size());
        packed += name;
    }
    names = std::move(packed);
    unusedBytes = 0;
    files.shrink_to_fit();
}

const FoundFile *Listing::find(const std::string &folder, std::string_view name)
{
    const auto place = m_folders.find(folder);
    if (place == m_folders.end())
        return nullptr;
    Folder &known = place->second;
    const auto file = known.at(name);
    return file != known.files.end() && known.nameOf(*file) == name ? &*file : nullptr;
}

std::vector<std::string> Listing::namesIn(const std::string &folder) const
{
    std::vector<std::string> names;
    if (const auto place = m_folders.find(folder); place != m_folders.end()) {
        for (const FoundFile &file : place->second.files)
            names.emplace_back(place->second.nameOf(file));
    }
    return names;
}

std::vector<NamedPlace> Listing::placesOf(const FoundFile &file) const
{
    std::vector<NamedPlace> places;
    for (const auto &[path, folder] : m_folders) {
        for (const FoundFile &known : folder.files) {
            if (known.isSameFile(file))
                places.push_back({path, std::string(folder.nameOf(known))});
        }
    }
    return places;
}

std::size_t Listing::count() const
{
    std::size_t files = 0;
    for (const auto &[path, folder] : m_folders)
        files += folder.files.size();
    return files;
}

void Listing::insert(FolderContents &&contents)
{
    Folder &folder = m_folders[std::move(contents.path)];
    folder = {.files = std::move(contents.files), .names = std::move(contents.names)};
}

void Listing::set(const NamedPlace &place, const FoundFile &file)
{
    Folder &folder = m_folders[place.folder];
    auto at = folder.at(place.name);
    if (at == folder.files.end() || folder.nameOf(*at) != place.name) {
        FoundFile added = file;
        added.nameOffset = static_cast<std::uint32_t>(folder.names.size());
        added.nameLength = static_cast<std::uint16_t>(place.name.size());
        folder.names += place.name;
        folder.files.insert(at, added);
        return;
    }
    const auto [offset, length] = std::pair(at->nameOffset, at->nameLength);
    *at = file;
    at->nameOffset = offset;
    at->nameLength = length;
}

void Listing::erase(const NamedPlace &place)
{
    const auto found = m_folders.find(place.folder);
    if (found == m_folders.end())
        return;
    Folder &folder = found->second;
    const auto at = folder.at(place.name);
    if (at == folder.files.end() || folder.nameOf(*at) != place.name)
        return;
    folder.unusedBytes += at->nameLength;
    folder.files.erase(at);
    folder.pack();
}

void Listing::eraseTree(const std::string &folder)
{
    m_folders.erase(folder);
    const std::string inside = folder + '/';
    const auto first = m_folders.lower_bound(inside);
    auto last = first;
    while (last != m_folders.end() && last->first.starts_with(inside))
        ++last;
    m_folders.erase(first, last);
}

void Listing::moveTree(const std::string &from, const std::string &to)
{
    eraseTree(to);
    std::vector<std::map<std::string, Folder>::node_type> moved;
    if (auto itself = m_folders.extract(from))
        moved.push_back(std::move(itself));
    const std::string inside = from + '/';
    for (auto place = m_folders.lower_bound(inside);
         place != m_folders.end() && place->first.starts_with(inside);)
        moved.push_back(m_folders.extract(place++));
    for (auto &node : moved) {
        node.key().replace(0, from.size(), to);
        m_folders.insert(std::move(node));
    }
}

} // namespace quorvalent
