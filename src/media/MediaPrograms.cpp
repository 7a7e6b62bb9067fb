#include "media/MediaPrograms.h"

#include "platform/Bundle.h"

namespace quorvalent::MediaPrograms {

const std::filesystem::path &ffmpeg()
{
    static const std::filesystem::path program = Bundle::helper("ffmpeg");
    return program;
}

const std::filesystem::path &ffprobe()
{
    static const std::filesystem::path program = Bundle::helper("ffprobe");
    return program;
}

} // namespace quorvalent::MediaPrograms
