#include "platform/WatchTable.h"

namespace quorvalent {

const std::string *WatchTable::folderOf(int watch) const
{
    const auto found = m_folders.find(watch);
    return found == m_folders.end() ? nullptr : &found->second->first;
}

std::vector<std::string> WatchTable::folders() const
{
    std::vector<std::string> all;
    all.reserve(m_watches.size());
    for (const auto &[folder, watch] : m_watches)
        all.push_back(folder);
    return all;
}

void WatchTable::insert(const std::string &folder, int watch)
{
    erase(watch);
    const auto [place, isNew] = m_watches.try_emplace(folder, watch);
    if (!isNew) {
        // Another folder took the path before the end of the former one was told.
        m_folders.erase(place->second);
        place->second = watch;
    }
    m_folders.emplace(watch, place);
}

void WatchTable::erase(int watch)
{
    const auto found = m_folders.find(watch);
    if (found == m_folders.end())
        return;
    m_watches.erase(found->second);
    m_folders.erase(found);
}

std::vector<int> WatchTable::takeTree(const std::string &folder)
{
    std::vector<int> taken;
    const auto take = [&](ByFolder::iterator place) {
        taken.push_back(place->second);
        m_folders.erase(place->second);
        return m_watches.erase(place);
    };
    if (const auto itself = m_watches.find(folder); itself != m_watches.end())
        take(itself);
    const std::string inside = folder + '/';
    for (auto place = m_watches.lower_bound(inside);
         place != m_watches.end() && place->first.starts_with(inside);)
        place = take(place);
    return taken;
}

bool WatchTable::moveTree(const std::string &from, const std::string &to)
{
    if (!m_watches.contains(from))
        return false;
    (void)takeTree(to);
    std::vector<ByFolder::node_type> moved;
    moved.push_back(m_watches.extract(from));
    const std::string inside = from + '/';
    for (auto place = m_watches.lower_bound(inside);
         place != m_watches.end() && place->first.starts_with(inside);)
        moved.push_back(m_watches.extract(place++));
    for (ByFolder::node_type &node : moved) {
        node.key().replace(0, from.size(), to);
        const int watch = node.mapped();
        m_folders[watch] = m_watches.insert(std::move(node)).position;
    }
    return true;
}

} // namespace quorvalent
