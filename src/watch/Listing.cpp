#include "watch/Listing.h"

#include "platform/ComposedText.h"
#include "platform/Error.h"
#include "platform/FolderRules.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

constexpr auto emptySlot = std::numeric_limits<std::uint32_t>::max();

std::pair<std::uint64_t, std::uint64_t> identityOf(const FoundFile &file)
{
    return {file.inode, file.device};
}

bool isSameIdentity(const FoundFile &left, const FoundFile &right)
{
    return identityOf(left) == identityOf(right);
}

bool isSamePlace(const FoundFiles &found, const FoundFile &left, const FoundFile &right)
{
    return found.nameOf(left) == found.nameOf(right) &&
           found.folders[left.folder] == found.folders[right.folder];
}

std::size_t hashOf(const FoundFile &file)
{
    // Inodes come in runs; the odd constant (2^64 divided by the golden ratio) spreads a run over the table.
    const std::uint64_t mixed = (file.inode ^ std::rotl(file.device, 40)) * 0x9E3779B97F4A7C15U;
    return mixed ^ (mixed >> 32U);
}

/// Whether two folders are one, remembered for the next question: neighbours in a listing share their folder.
class FolderComparison
{
public:
    FolderComparison(const FoundFiles &left, const FoundFiles &right)
        : m_left(left)
        , m_right(right)
    {}

    [[nodiscard]] bool isSame(std::uint32_t left, std::uint32_t right)
    {
        if (left != m_lastLeft || right != m_lastRight) {
            m_lastLeft = left;
            m_lastRight = right;
            m_isSame = m_left.folders[left] == m_right.folders[right];
        }
        return m_isSame;
    }

private:
    const FoundFiles &m_left;
    const FoundFiles &m_right;
    std::uint32_t m_lastLeft = emptySlot;
    std::uint32_t m_lastRight = emptySlot;
    bool m_isSame = false;
};

} // namespace

Listing Listing::take(const std::vector<fs::path> &roots, const std::function<void(const QString &)> &onError)
{
    Listing listing;
    listing.m_found = found(roots, onError);
    listing.index();
    return listing;
}

void Listing::refresh(const std::vector<fs::path> &roots, const std::function<void(const QString &)> &onError,
                      const std::function<void(const RenameJob &)> &onRename)
{
    FoundFiles current = found(roots, onError);
    for (const auto &[before, now] : renamedIn(current)) {
        const FoundFile &file = current.files[now];
        onRename({m_found.pathOf(m_found.files[before]),
                  current.pathOf(file),
                  {FileStamp::identityOf(file.device, file.inode), file.sizeBytes, file.modified}});
    }
    m_found = std::move(current);
    index();
}

FoundFiles Listing::found(const std::vector<fs::path> &roots,
                          const std::function<void(const QString &)> &onError)
{
    FoundFiles all;
    for (const fs::path &root : roots) {
        try {
            FoundFiles found = FolderWalk::regularFiles(FolderRules::tidied(root));
            for (const fs::path &folder : found.unreadable)
                onError(composed(u"Accès impossible : {0}. Vérifiez les autorisations du dossier."_s,
                                 {displayName(folder)}));
            found.unreadable.clear();
            if (all.files.empty())
                all = std::move(found);
            else
                all.append(std::move(found));
        } catch (const FileError &) {
            onError(composed(u"Dossier inaccessible : {0}"_s, {displayText(root)}));
        }
    }
    return all;
}

void Listing::index()
{
    const std::vector<FoundFile> &files = m_found.files;
    m_isLeftOut.assign(files.size(), false);
    // At most half full, so that a search ends after a step or two.
    m_slots.assign(std::bit_ceil(files.size() * 2 + 1), emptySlot);
    const std::size_t mask = m_slots.size() - 1;
    for (Position position = 0; position < files.size(); ++position) {
        std::size_t slot = hashOf(files[position]) & mask;
        while (m_slots[slot] != emptySlot && !isSameIdentity(files[m_slots[slot]], files[position]))
            slot = (slot + 1) & mask;
        const Position earlier = std::exchange(m_slots[slot], position);
        if (earlier == emptySlot)
            continue;
        // The second is a third find of a file that has two places.
        if (!isSamePlace(m_found, files[earlier], files[position]) || m_isLeftOut[earlier])
            m_isLeftOut[position] = true;
        m_isLeftOut[earlier] = true;
    }
}

std::optional<Listing::Position> Listing::find(const FoundFile &file, Position guess) const
{
    if (guess < m_found.files.size() && isSameIdentity(m_found.files[guess], file) && !m_isLeftOut[guess])
        return guess;
    if (m_slots.empty())
        return std::nullopt;
    const std::size_t mask = m_slots.size() - 1;
    for (std::size_t slot = hashOf(file) & mask; m_slots[slot] != emptySlot; slot = (slot + 1) & mask) {
        const Position position = m_slots[slot];
        if (isSameIdentity(m_found.files[position], file))
            return m_isLeftOut[position] ? std::nullopt : std::optional(position);
    }
    return std::nullopt;
}

std::vector<Listing::Renamed> Listing::renamedIn(const FoundFiles &current) const
{
    std::vector<Renamed> renames;
    FolderComparison folders(m_found, current);
    Position guess = 0;
    for (Position position = 0; position < current.files.size(); ++position) {
        const FoundFile &now = current.files[position];
        const std::optional<Position> found = find(now, guess);
        if (!found)
            continue;
        // Folders are listed in the same order as long as nothing changes.
        guess = *found + 1;
        const FoundFile &before = m_found.files[*found];
        if (!folders.isSame(before.folder, now.folder) || m_found.nameOf(before) == current.nameOf(now))
            continue;
        if (before.sizeBytes != now.sizeBytes || before.modified != now.modified)
            continue;
        if (pathExtension(m_found.pathOf(before)).toLower() == pathExtension(current.pathOf(now)).toLower())
            continue;
        renames.push_back({*found, position});
    }
    return onlyUnambiguous(std::move(renames), current);
}

// Without those of files that `current` found in several places, and each file's last find alone. A search of
// the few renames for each of the many files, because `current` has no index yet.
std::vector<Listing::Renamed> Listing::onlyUnambiguous(std::vector<Renamed> renames,
                                                       const FoundFiles &current)
{
    const auto identity = [&](const Renamed &renamed) { return identityOf(current.files[renamed.now]); };
    std::ranges::sort(renames, {}, identity);
    std::vector<bool> isDropped(renames.size(), false);
    for (Position position = 0; position < current.files.size() && !renames.empty(); ++position) {
        const FoundFile &file = current.files[position];
        for (auto same = std::ranges::lower_bound(renames, identityOf(file), {}, identity);
             same != renames.end() && identity(*same) == identityOf(file); ++same) {
            if (position > same->now || !isSamePlace(current, file, current.files[same->now]))
                isDropped[static_cast<std::size_t>(same - renames.begin())] = true;
        }
    }
    std::vector<Renamed> kept;
    for (std::size_t at = 0; at < renames.size(); ++at) {
        if (!isDropped[at])
            kept.push_back(renames[at]);
    }
    return kept;
}

std::optional<fs::path> Listing::placeOf(const QString &identity) const
{
    for (Position position = 0; position < m_found.files.size(); ++position) {
        const FoundFile &file = m_found.files[position];
        if (!m_isLeftOut[position] && FileStamp::identityOf(file.device, file.inode) == identity)
            return m_found.pathOf(file);
    }
    return std::nullopt;
}

std::size_t Listing::count() const
{
    return static_cast<std::size_t>(std::ranges::count(m_isLeftOut, false));
}

} // namespace quorvalent
