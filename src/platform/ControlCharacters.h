#pragma once

#include <QString>

namespace quorvalent {

/// Characters that steer how the text around them is shown instead of showing themselves: C0 and C1 controls,
/// DEL, line and paragraph separators, and the marks that change the writing direction. A file name, a
/// decoder's message and a server's text may hold any of them. What belongs to a script (joiners, the
/// zero-width space) is none of them.
[[nodiscard]] bool isSteering(char16_t character);

/// For terminals and JSON: each becomes its escape, backslash, "u" and four hexadecimal digits.
[[nodiscard]] QString withEscapedControls(const QString &text);

/// For windows: each becomes a box. `keepsLines` leaves line feeds as they are.
[[nodiscard]] QString withBoxedControls(QString text, bool keepsLines);

} // namespace quorvalent
