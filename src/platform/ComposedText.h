#pragma once

#include <QString>

#include <initializer_list>

namespace quorvalent {

/// A message made of fixed pieces and variable parts: the text with {0}, {1} … up to {5} replaced by the
/// parts. A part is put in as it is, whatever it looks like. The text itself is the message's key in the
/// catalogue, so it stands in the source in one piece; its placeholders count up from the left, and a part
/// that is a complete message stands first, followed by a space.
[[nodiscard]] QString composed(const QString &text, std::initializer_list<QString> parts);

} // namespace quorvalent
