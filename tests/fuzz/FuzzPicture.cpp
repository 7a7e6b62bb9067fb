#include "fuzz/FuzzInputs.h"
#include "media/image/VipsPixels.h"

#include <cstddef>

// NOLINTNEXTLINE(readability-identifier-naming): the fuzzer's own names for both
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    quorvalent::startVips();
    vips_concurrency_set(1); // the same input takes the same way
    return 0;
}

// NOLINTNEXTLINE(readability-identifier-naming)
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *bytes, std::size_t count)
{
    quorvalent::test::tryPicture({bytes, count});
    return 0;
}
