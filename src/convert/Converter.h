#pragma once

#include "convert/HelperEngines.h"
#include "core/ConversionRun.h"
#include "core/Preferences.h"
#include "core/RenameJob.h"

#include <filesystem>

namespace quorvalent {

/// Turns the content of a renamed file into what its new name says, in place and without ever writing into
/// the user's file. No state; every function blocks its thread and throws a class derived from Error.
///
/// The engines run in a process of their own, in a cage. Those below read `source` and write `output`, which
/// lie in one folder: the one folder that they may touch.
struct Converter
{
    /// Converts one job and returns what is to be known about it, or puts the old name back when the policy
    /// refuses it (UnsupportedRenameError). One job at a time. On success reports 1.0 once, last. The
    /// engines' process comes from `helpers`; removed originals go to `originals` where there is one.
    static ConversionReport
    convert(const RenameJob &job, const Preferences &preferences, const ConversionRun &run,
            const HelperSource &helpers = HelperEngines::starting(HelperPrograms::bundled()),
            const OriginalsStore *originals = nullptr);

    /// Whether the file certainly is what its name says, by a look at its first bytes in a process of its
    /// own. False where nobody could look.
    [[nodiscard]] static bool
    isWhatItsNameSays(const std::filesystem::path &file,
                      const HelperSource &helpers = HelperEngines::starting(HelperPrograms::bundled()));

    /// Gives the file of a job that could not be begun its old name back and throws why, as a job's failure.
    static void refuse(const RenameJob &job, const Error &why);

    /// Writes a still or multi-frame image as the format of `output`'s extension. `quality` is a fraction,
    /// 1.0 the best; formats without lossy compression ignore it. Reports up to 0.9.
    static void image(const std::filesystem::path &source, const std::filesystem::path &output,
                      double quality, const Progress &progress);

    /// Writes a sound as 16-bit PCM ("wav", "aif", "aiff") or as AAC ("m4a") at `bitrate` kbit/s, with the
    /// source's rate and channels. Lossless sources come out to the frame, 16-bit ones bit for bit. Memory
    /// does not grow with the length. Reports up to 0.98, or nothing where the source tells no length.
    static void audio(const std::filesystem::path &source, const std::filesystem::path &output,
                      qint64 bitrate, const Progress &progress);

    /// Writes a video as the movie of `output`'s extension: "mov", "m4v", anything else is MPEG-4. `quality`
    /// is 0 for the highest, which passes through untouched whatever the file can carry, 1 for medium, any
    /// other for low. What it returns from has been checked against the source. Reports up to 0.98.
    static void video(const std::filesystem::path &source, const std::filesystem::path &output,
                      qint64 quality, const Progress &progress);

    /// Runs the bundle's FFmpeg program with the fixed arguments of `output`'s extension. Reports up to 0.98.
    static void external(const std::filesystem::path &source, const std::filesystem::path &output,
                         const Preferences &preferences, const Progress &progress);
};

} // namespace quorvalent
