#pragma once

#include <QString>
#include <QStringList>

namespace quorvalent {

/// The extensions of each media family: lower-case ASCII without the dot. A conversion never leaves its
/// family. Built on first use, immutable afterwards; any thread.
[[nodiscard]] const QStringList &imageExtensions();
[[nodiscard]] const QStringList &audioExtensions();
[[nodiscard]] const QStringList &videoExtensions();
/// The union of the three families.
[[nodiscard]] const QStringList &mediaExtensions();

} // namespace quorvalent
