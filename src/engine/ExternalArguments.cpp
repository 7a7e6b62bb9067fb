#include "engine/ExternalArguments.h"

#include "core/ConversionError.h"
#include "core/MediaFamilies.h"
#include "core/RenameJob.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;
using Arguments = std::vector<std::string>;

std::string text(qint64 number)
{
    return std::to_string(number);
}

Arguments imageArguments(const QString &target, const Preferences &preferences)
{
    Arguments arguments = {"-frames:v", "1"};
    if (target == "webp"_L1) {
        // The fraction is dropped, not rounded; done on the floating-point number, whose range has no end.
        const double quality = std::trunc(preferences.quality(target) * 100);
        arguments.insert(arguments.end(),
                         {"-c:v", "libwebp", "-quality", QString::number(quality, 'f', 0).toStdString()});
    }
    return arguments;
}

// libvorbis takes a quality: the one whose average rate is nearest to the bit rate that the user chose.
std::string vorbisQuality(qint64 kilobitsPerSecond)
{
    switch (kilobitsPerSecond) {
    case 96:
        return "2";
    case 128:
        return "4";
    case 192:
        return "6";
    case 320:
        return "10";
    default:
        return "8";
    }
}

Arguments audioArguments(const QString &target, const Preferences &preferences)
{
    const std::string bitrate = text(preferences.bitrate(target)) + "k";
    if (target == "mp3"_L1)
        return {"-vn", "-c:a", "libmp3lame", "-b:a", bitrate};
    if (target == "m4a"_L1 || target == "aac"_L1)
        return {"-vn", "-c:a", "aac", "-b:a", bitrate};
    if (target == "ogg"_L1)
        return {"-vn", "-c:a", "libvorbis", "-q:a", vorbisQuality(preferences.bitrate(target))};
    if (target == "flac"_L1)
        return {"-vn", "-c:a", "flac"};
    if (target == "wav"_L1)
        return {"-vn", "-c:a", "pcm_s16le"};
    return {"-vn", "-c:a", "pcm_s16be"};
}

Arguments videoArguments(const QString &target, const Preferences &preferences)
{
    // Constant rate factors by level, best first: each codec has a scale of its own.
    constexpr std::array<const char *, 3> vp9Factors = {"18", "30", "40"};
    constexpr std::array<const char *, 3> h264Factors = {"18", "23", "30"};
    const auto level = static_cast<std::size_t>(std::clamp<qint64>(preferences.video(target), 0, 2));

    if (target == "webm"_L1)
        return {"-c:v", "libvpx-vp9", "-crf", vp9Factors[level], "-b:v", "0", "-c:a", "libopus"};
    return {"-c:v",     "libx264", "-preset", "fast", "-crf", h264Factors[level],
            "-pix_fmt", "yuv420p", "-c:a",    "aac",  "-b:a", "192k"};
}

Arguments familyArguments(const QString &target, const Preferences &preferences)
{
    if (imageExtensions().contains(target))
        return imageArguments(target, preferences);
    if (audioExtensions().contains(target))
        return audioArguments(target, preferences);
    if (videoExtensions().contains(target))
        return videoArguments(target, preferences);
    throw ConversionError(u"Format cible non pris en charge."_s);
}

// FFmpeg takes "%d" and "%*" anywhere in a picture's path for the number of a frame, and has no way to quote
// them. The engine runs inside the output's folder, so a path through /proc means the same file and holds
// only the last name.
std::string engineText(const std::filesystem::path &path, const std::filesystem::path &folder)
{
    const bool hasPattern = path.native().find('%') != std::string::npos;
    if (hasPattern && path.parent_path() == folder)
        return "/proc/self/cwd/" + path.filename().native();
    return path.native();
}

} // namespace

Arguments externalArguments(const std::filesystem::path &source, const std::filesystem::path &output,
                            const Preferences &preferences, const Arguments &added)
{
    const std::filesystem::path folder = output.parent_path();
    Arguments arguments = {
        "-nostdin", "-hide_banner", "-loglevel", "error", "-n", "-i", engineText(source, folder)};
    const Arguments family = familyArguments(pathExtension(output), preferences);
    arguments.insert(arguments.end(), family.begin(), family.end());
    arguments.insert(arguments.end(), added.begin(), added.end());
    arguments.insert(arguments.end(), {"-progress", "pipe:1", "-nostats", engineText(output, folder)});
    return arguments;
}

Arguments externalEncoders(const QString &extension)
{
    const Arguments arguments = familyArguments(extension, Preferences{});
    Arguments encoders;
    for (std::size_t i = 0; i + 1 < arguments.size(); ++i) {
        if (arguments[i] == "-c:v" || arguments[i] == "-c:a")
            encoders.push_back(arguments[i + 1]);
    }
    return encoders;
}

} // namespace quorvalent
