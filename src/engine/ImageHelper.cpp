// The engine helper for images.

#include "engine/HelperMain.h"
#include "engine/ImageFamily.h"
#include "media/ImageSource.h"

#include <malloc.h>

#include <cstdlib>
#include <cstring>

namespace {

// While nobody waits: lets the kernel give the pages that a picture will need, which it does one fault at a
// time, a few thousand of them. They stay in one heap, which all threads then share.
void warmHeap()
{
    constexpr std::size_t ofALargePhoto = 16UL << 20; // bytes; what a picture of 12 megapixels touches
    constexpr int onTheHeap = 32 << 20;               // bytes; glibc's own upper bound for this limit
    ::mallopt(M_ARENA_MAX, 1);
    ::mallopt(M_MMAP_THRESHOLD, onTheHeap);
    ::mallopt(M_TRIM_THRESHOLD, 2 * onTheHeap);
    if (void *const pages = std::malloc(ofALargePhoto)) {
        std::memset(pages, 1, ofALargePhoto);
        asm volatile("" : : "r"(pages) : "memory"); // else the compiler sees that nobody reads them
        std::free(pages);
    }
}

} // namespace

int main(int argc, char **argv)
{
    using namespace quorvalent;
    return runHelper({argv, static_cast<std::size_t>(argc)},
                     {.getReady =
                          [] {
                              warmHeap();
                              ImageSource::prepare();
                          },
                      .limitThreads = &ImageSource::limitThreads,
                      .make =
                          [](std::optional<std::filesystem::path> external) {
                              return std::make_unique<ImageFamily>(std::move(external));
                          },
                      .missing = &ImageFamily::missingEncoders});
}
