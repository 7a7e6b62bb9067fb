#pragma once

#include "platform/FileDescriptor.h"
#include "platform/LockedFile.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// Why a bundle is not ours to replace.
enum class BundleOwner { User, PackageManager, SomeoneElse };

/// Who decides about the bundle: a package manager owns what lies below /usr (but for /usr/local) and what
/// says so in its information ("QuorvalentPackage"); someone else owns what this user may not exchange.
[[nodiscard]] BundleOwner ownerOf(const std::filesystem::path &bundle);

/// The replacement of the installed bundle by a new one, as a whole: a private folder beside the bundle holds
/// the new one while it is unpacked, and the old one from the exchange until commit(). One process at a time;
/// the kernel drops the claim when it ends. Any one thread.
class BundleExchange
{
public:
    /// Claims the place beside the bundle, and clears what an update that was cut short left there: an old
    /// bundle is removed, since the one in place has started us. Nothing when another process has claimed it.
    /// Throws FileError.
    [[nodiscard]] static std::optional<BundleExchange> begin(const std::filesystem::path &bundle);

    BundleExchange(BundleExchange &&other) noexcept;
    BundleExchange &operator=(BundleExchange &&) = delete;
    /// Puts the old bundle back in place unless commit() was called, then removes the private folder. Where
    /// the old bundle cannot be put back, it stays in the private folder.
    ~BundleExchange();

    /// The archive's file, which must not be there yet; throws FileError.
    [[nodiscard]] FileDescriptor createArchive() const;
    [[nodiscard]] std::filesystem::path archive() const { return m_folder / "archive"; }
    /// Where the new bundle goes; does not exist yet.
    [[nodiscard]] std::filesystem::path candidate() const { return m_folder / "bundle"; }

    /// Gives the new bundle what belongs to this machine and comes in no archive: the link to the system's
    /// ffmpeg program. Then one rename puts the new bundle in place and the old one aside. Throws FileError.
    void exchange();
    /// The new bundle does not start: the same rename once more. Throws FileError.
    void undo();
    /// The new bundle runs; the old one is not kept any longer than this object.
    void commit() { m_isExchanged = false; }

private:
    BundleExchange(std::filesystem::path bundle, std::filesystem::path folder, LockedFile claim);

    std::filesystem::path m_bundle;
    std::filesystem::path m_folder;
    std::optional<LockedFile> m_claim;
    bool m_isExchanged = false; ///< the old bundle is in the private folder and may be needed again
};

} // namespace quorvalent
