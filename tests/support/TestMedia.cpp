#include "support/TestMedia.h"

#include "platform/ChildProcess.h"

#include <fstream>
#include <iterator>
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

void turnPictures(const fs::path &file, int degrees)
{
    std::fstream film(file, std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes(std::istreambuf_iterator<char>(film), {});
    const std::size_t header = bytes.find("tkhd");
    if (header == std::string::npos)
        throw std::runtime_error("no track in " + file.native());
    // Sine and cosine in 16.16 fixed point, big-endian, in the matrix's places a, b, c, d.
    const std::string one("\0\1\0\0", 4);
    const std::string minusOne("\xff\xff\0\0", 4);
    const std::string none(4, '\0');
    const std::string cosine = degrees == 180 ? minusOne : none;
    const std::string sine = degrees == 90 ? one : degrees == 270 ? minusOne : none;
    const std::string minusSine = degrees == 90 ? minusOne : degrees == 270 ? one : none;
    const auto matrix = static_cast<std::streamoff>(header + 44);
    const auto put = [&](std::streamoff place, const std::string &value) {
        film.seekp(matrix + 4 * place).write(value.data(), static_cast<std::streamsize>(value.size()));
    };
    put(0, cosine);
    put(1, sine);
    put(3, minusSine);
    put(4, cosine);
    if (!film.flush())
        throw std::runtime_error("cannot write " + file.native());
}

void truncate(const fs::path &file, double share)
{
    fs::resize_file(file, static_cast<std::uintmax_t>(static_cast<double>(fs::file_size(file)) * share));
}

} // namespace quorvalent::test
