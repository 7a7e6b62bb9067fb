#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quorvalent::test {

/// The system's FFmpeg program.
std::filesystem::path ffmpegProgram();

/// Makes `output` with FFmpeg from the arguments that stand between the head and the output's path; throws
/// std::runtime_error when FFmpeg does not.
std::filesystem::path makeMedia(const std::filesystem::path &output,
                                const std::vector<std::string> &arguments);

/// Makes players turn the pictures of a film in QuickTime's or MPEG-4's boxes clockwise, by 90, 180 or 270
/// degrees. Its first track is the video. Done here because FFmpeg took the option for it away in version 7
/// and got another in 6.
void turnPictures(const std::filesystem::path &file, int degrees);

/// Cuts the file to a share of its bytes, 0 to 1.
void truncate(const std::filesystem::path &file, double share);

} // namespace quorvalent::test
