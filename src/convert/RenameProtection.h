#pragma once

#include "core/ConversionError.h"
#include "core/RenameJob.h"
#include "core/RenamePolicy.h"
#include "platform/Files.h"

#include <QString>

namespace quorvalent::RenameProtection {

/// Gives the file of a refused rename its old name back, if it still is exactly the file that was renamed,
/// nothing took that name, and no program has the file open. Never touches content, never replaces, never
/// throws: the returned error's sentence is `reason`, the refusal, followed by what became of the name.
/// Blocks for one metadata query and one move.
[[nodiscard]] UnsupportedRenameError reject(const RenameJob &job, const QString &reason,
                                            const Files &files = Files());

} // namespace quorvalent::RenameProtection
