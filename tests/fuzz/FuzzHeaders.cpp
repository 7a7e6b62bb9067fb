#include "fuzz/FuzzInputs.h"

#include <cstddef>

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's own name for it
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count)
{
    quorvalent::test::tryHeaders({bytes, count});
    return 0;
}
