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

bool isSameIdentity(const FoundFile &left, const FoundFile &right)
{
    return left.inode == right.inode && left.device == right.device;
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
    for (const fs::path &root : roots) {
        try {
            FoundFiles found = FolderWalk::regularFiles(FolderRules::tidied(root));
            for (const fs::path &folder : found.unreadable)
                onError(composed(u"Accès impossible : {0}. Vérifiez les autorisations du dossier."_s,
                                 {displayName(folder)}));
            found.unreadable.clear();
            if (listing.m_found.files.empty())
                listing.m_found = std::move(found);
            else
                listing.m_found.append(std::move(found));
        } catch (const FileError &) {
            onError(composed(u"Dossier inaccessible : {0}"_s, {displayText(root)}));
        }
    }
    listing.index();
    return listing;
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
        if (!isSamePlace(files[earlier], files[position]))
            m_isLeftOut[position] = true;
        else if (m_isLeftOut[earlier])
            m_isLeftOut[position] = true; // a third find of a file that has two places
        m_isLeftOut[earlier] = true;
    }
}

bool Listing::isSamePlace(const FoundFile &left, const FoundFile &right) const
{
    return m_found.nameOf(left) == m_found.nameOf(right) &&
           m_found.folders[left.folder] == m_found.folders[right.folder];
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

std::vector<RenameJob> Listing::renamesSince(const Listing &previous) const
{
    std::vector<RenameJob> renames;
    FolderComparison folders(previous.m_found, m_found);
    Position guess = 0;
    for (Position position = 0; position < m_found.files.size(); ++position) {
        if (m_isLeftOut[position])
            continue;
        const FoundFile &now = m_found.files[position];
        const std::optional<Position> found = previous.find(now, guess);
        if (!found)
            continue;
        // Folders are listed in the same order as long as nothing changes.
        guess = *found + 1;
        const FoundFile &before = previous.m_found.files[*found];
        if (!folders.isSame(before.folder, now.folder) ||
            previous.m_found.nameOf(before) == m_found.nameOf(now))
            continue;
        if (before.sizeBytes != now.sizeBytes || before.modified != now.modified)
            continue;
        const fs::path oldPath = previous.pathOf(before);
        const fs::path newPath = pathOf(now);
        if (pathExtension(oldPath).toLower() == pathExtension(newPath).toLower())
            continue;
        renames.push_back(
            {oldPath, newPath, {FileStamp::identityOf(now.device, now.inode), now.sizeBytes, now.modified}});
    }
    return renames;
}

std::size_t Listing::count() const
{
    return static_cast<std::size_t>(std::ranges::count(m_isLeftOut, false));
}

fs::path Listing::pathOf(const FoundFile &file) const
{
    return fs::path(m_found.folders[file.folder]) / m_found.nameOf(file);
}

} // namespace quorvalent
