#pragma once

#include "convert/WorkFolder.h"
#include "core/Preferences.h"
#include "core/Progress.h"
#include "core/RenameJob.h"
#include "platform/Error.h"
#include "platform/Files.h"

#include <filesystem>
#include <functional>

namespace quorvalent {

/// Writes what `source` holds as the format of `output`'s extension, or throws a class derived from Error.
using Engine = std::function<void(const std::filesystem::path &source, const std::filesystem::path &output,
                                  const Preferences &preferences, const Progress &progress)>;

/// Whether an engine's output holds what its source holds, as far as a look from outside can tell.
using OutputCheck = std::function<bool(const std::filesystem::path &output)>;
/// Makes the check before the engine runs, so that it can look at the source meanwhile.
using OutputCheckMaker = std::function<OutputCheck(const std::filesystem::path &source)>;

/// What a conversion is done with.
struct Engines
{
    Engine image;
    Engine audio; ///< first engine for wav, aif, aiff and m4a
    Engine video; ///< first engine for mp4, mov and m4v
    Engine external;
    std::function<bool()> hasExternal; ///< whether `external` may stand in for a first engine that failed
    OutputCheckMaker imageCheck;
    OutputCheckMaker mediaCheck;
};

/// Converts one renamed file in place: a private copy is converted and checked, then the result and the file
/// change places. Never writes into the user's file and never replaces one. Without state of its own; one
/// job at a time, and each call blocks its thread.
class ConversionDriver
{
public:
    /// `files` outlives the object.
    ConversionDriver(const Files &files, Engines engines);

    /// Throws UnsupportedRenameError when the policy refuses the rename, otherwise ConversionError or
    /// FileError; each sentence also says where the file is if it is no longer where it was. Reports 1.0
    /// once, when the result is in place.
    void convert(const RenameJob &job, const Preferences &preferences, const Progress &progress) const;

private:
    void replace(const RenameJob &job, const Preferences &preferences, const Progress &progress) const;
    void runEngine(const RenameJob &job, const WorkFolder &work, const Preferences &preferences,
                   const Progress &progress) const;
    void requireSoundOutput(const WorkFolder &work, const OutputCheck &matches) const;
    void requireSpaceForResult(const RenameJob &job) const;
    void giveNameBack(const RenameJob &job, const Error &failure) const;

    const Files &m_files;
    Engines m_engines;
};

} // namespace quorvalent
