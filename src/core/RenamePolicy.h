#pragma once

#include "core/RenameJob.h"

#include <QString>

#include <optional>

namespace quorvalent::RenameProtection {

/// Whether a change of extension asks for a conversion inside one media family. Nothing means yes; a text is
/// the refusal, a complete French sentence. Extensions come without the dot, in any letter case, possibly
/// empty. Pure; any thread.
[[nodiscard]] std::optional<QString> rejectionReason(const QString &source, const QString &target);

/// The same for the extensions of a job's two names.
[[nodiscard]] std::optional<QString> reason(const RenameJob &job);

} // namespace quorvalent::RenameProtection
