#include "support/TestMedia.h"

#include "platform/ChildProcess.h"

#include <stdexcept>

namespace quorvalent::test {

namespace fs = std::filesystem;

fs::path ffmpegProgram()
{
    return QUORVALENT_FFMPEG_PROGRAM;
}

fs::path makeMedia(const fs::path &output, const std::vector<std::string> &arguments)
{
    ChildCommand command;
    command.program = ffmpegProgram();
    command.arguments = {"-nostdin", "-loglevel", "quiet", "-y"};
    command.arguments.insert(command.arguments.end(), arguments.begin(), arguments.end());
    command.arguments.push_back("file:" + output.native());
    if (!ChildProcess(command).wait().isSuccess())
        throw std::runtime_error("cannot make " + output.native());
    return output;
}

void truncate(const fs::path &file, double share)
{
    fs::resize_file(file, static_cast<std::uintmax_t>(static_cast<double>(fs::file_size(file)) * share));
}

} // namespace quorvalent::test
