#pragma once

#include <QString>

#include <optional>

namespace quorvalent {

/// What the bundle's information says about this version, as people read it.
namespace AppVersion {

/// The version, such as "1.4"; "1.0 (développement)" where the bundle says nothing.
[[nodiscard]] QString display();

/// The release date in the present display language; "—" where the bundle has none.
[[nodiscard]] QString releaseDate();

/// The release date for one language; `stored` is "yyyy-MM-dd", and anything else is shown as it is.
[[nodiscard]] QString releaseDate(const std::optional<QString> &stored, const QString &language);

} // namespace AppVersion

} // namespace quorvalent
