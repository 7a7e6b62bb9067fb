// The engine helper for sounds and films. It loads nothing that only pictures need.

#include "engine/HelperMain.h"
#include "engine/MediaFamily.h"

int main(int argc, char **argv)
{
    using namespace quorvalent;
    return runHelper({argv, static_cast<std::size_t>(argc)},
                     {.getReady = [] {},
                      // Encoders of sounds use one thread, and a film has the machine to itself.
                      .limitThreads = [](int) {},
                      .make =
                          [](std::optional<std::filesystem::path> external) {
                              return std::make_unique<MediaFamily>(std::move(external));
                          },
                      .missing = &MediaFamily::missingEncoders});
}
