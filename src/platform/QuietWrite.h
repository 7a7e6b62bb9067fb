#pragma once

#include <sys/types.h>

#include <cstddef>
#include <span>

namespace quorvalent {

/// write(), without the signal that a pipe raises when nobody can read it any more, which would end the
/// program: that is an error here like any other, EPIPE.
[[nodiscard]] ssize_t quietWrite(int descriptor, std::span<const std::byte> bytes);

} // namespace quorvalent
