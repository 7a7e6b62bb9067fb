#pragma once

#include "platform/update/UpdateFeed.h"

#include <filesystem>
#include <functional>

namespace quorvalent {

/// A downloaded archive: a compressed tar of one folder, the bundle.
namespace UpdateArchive {

/// Checks length, checksum and signature before a byte of the archive is interpreted. The file lies where
/// only this user may write. Throws UpdateError (BadArchive), FileError.
void verify(const std::filesystem::path &archive, const UpdateRelease &release, const PublicKey &key);

/// Unpacks a verified archive's one top folder into `bundle`, which must not exist yet; its parent must.
/// Regular files, folders and links that stay within the bundle are made, with no more rights than 0755;
/// anything else (devices, hard links, paths that leave the bundle, a second top folder) is refused.
/// Everything is on disk when it returns; after a failure the caller removes what is there. `isCancelled` is
/// asked between two blocks; once it says yes, UpdateError (NoUpdate) is thrown. Throws UpdateError
/// (BadArchive), FileError.
void unpack(
    const std::filesystem::path &archive, const std::filesystem::path &bundle,
    const std::function<bool()> &isCancelled = [] { return false; });

} // namespace UpdateArchive

} // namespace quorvalent
