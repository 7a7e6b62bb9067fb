#pragma once

#include <QString>

namespace quorvalent {

/// The text on one line and without control over the terminal: every control, line break and mark of
/// direction shows as its escape.
[[nodiscard]] QString printable(const QString &text);

/// Columns that the text takes on a terminal: marks that combine take none, East Asian wide characters two.
[[nodiscard]] int columnsOf(const QString &text);

/// The text itself where it fits, else its two ends around "…", in at most `columns` columns. The end, with
/// a file's extension, gets the greater half.
[[nodiscard]] QString elidedInTheMiddle(const QString &text, int columns);

} // namespace quorvalent
