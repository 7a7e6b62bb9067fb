#pragma once

#include <cstdint>
#include <span>

namespace quorvalent::test {

// What the fuzzers do with each input, and the tests with each input that once found a fault. Both throw
// std::logic_error when a promise is broken; an error of ours that refuses the input is none.

/// What a conversion does with a picture: reads its headers, decodes every frame into another type, checks
/// the result.
void tryPicture(std::span<const std::uint8_t> input);

/// Everything of ours that reads foreign bytes without a library in between.
void tryHeaders(std::span<const std::uint8_t> input);

} // namespace quorvalent::test
