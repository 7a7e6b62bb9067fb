#pragma once

#include "convert/ConversionReport.h"
#include "convert/EngineHelper.h"
#include "convert/OriginalsStore.h"
#include "convert/WorkFolder.h"
#include "core/ConversionRun.h"
#include "core/Preferences.h"
#include "core/RenameJob.h"
#include "platform/Error.h"
#include "platform/Files.h"

#include <filesystem>
#include <functional>

namespace quorvalent {

/// Writes what `source` holds as the format of `output`'s extension and returns what is to be known about it,
/// or throws a class derived from Error.
using Engine =
    std::function<EngineReport(const std::filesystem::path &source, const std::filesystem::path &output,
                               const Preferences &preferences, const Progress &progress)>;

/// What a conversion is done with.
struct Engines
{
    /// Called first. The engines will read and write in the work folder alone, and the user's file is looked
    /// at where it is.
    std::function<void(const EngineHelper::Reach &reach, bool isImage)> begin;
    /// Whether the user's file certainly is of the format that an extension names, whatever it is called.
    /// Throws ConversionError where nobody could look.
    std::function<bool(const QString &extension)> isOriginalOf;

    Engine image;
    Engine audio; ///< first engine for wav, aif, aiff and m4a
    Engine video; ///< first engine for mp4, mov and m4v
    Engine external;
    std::function<bool()> hasExternal; ///< whether `external` may stand in for a first engine that failed
    /// Whether an engine's output holds what its source holds, as far as a look from outside can tell.
    std::function<bool(const std::filesystem::path &source, const std::filesystem::path &output)> matches;
    /// When it returns, nothing that an engine started runs any more. Called more than once; throws nothing.
    std::function<void()> end;
};

/// Converts one renamed file in place: a private copy is converted and checked, then the result and the file
/// change places. A file that already is what its new name says stays as it is, and that is a success. Never
/// writes into the user's file and never replaces one. An engine's word is not enough for it: an engine may
/// have been taken over by the file that it read. Without state of its own; one job at a time, and each call
/// blocks its thread.
class ConversionDriver
{
public:
    /// Removed originals go to `originals`, and come back from there where a rename takes a conversion back;
    /// without it they are gone. Both outlive the object.
    ConversionDriver(const Files &files, Engines engines, const OriginalsStore *originals = nullptr);

    /// Throws UnsupportedRenameError when the policy refuses the rename, ConversionCancelled when the run is
    /// cancelled or the rename was taken back before the result was made, otherwise ConversionError or
    /// FileError; each sentence also says where the file is if it is no longer where it was. Reports 1.0
    /// once, when the result is in place. The original stays beside the result where the preferences or the
    /// engine want it kept.
    ConversionReport convert(const RenameJob &job, const Preferences &preferences,
                             const ConversionRun &run = {}) const;

    /// Gives a file that was not converted its old name back, where both names are as the job left them, and
    /// throws why it was not, with what became of the name. Returns where there is nothing to give back.
    void giveNameBack(const RenameJob &job, const Error &failure) const;

private:
    [[nodiscard]] bool isAlready(const RenameJob &job) const;
    ConversionReport replace(const RenameJob &job, const Preferences &preferences,
                             const ConversionRun &run) const;
    [[nodiscard]] ConversionReport bringBack(const RenameJob &job, const OriginalsStore::Return &asked) const;
    void makeRoom(const RenameJob &job) const;
    EngineReport runEngine(const RenameJob &job, const WorkFolder &work, const Preferences &preferences,
                           const Progress &progress) const;
    void requireSoundOutput(const WorkFolder &work, const FileAttributes &own) const;
    void requireFileLike(const FileAttributes &own, const std::filesystem::path &output) const;
    EngineReport makeOutput(const RenameJob &job, const WorkFolder &work, const FileAttributes &own,
                            const Preferences &preferences, const Progress &progress) const;
    [[nodiscard]] bool isVolumeFull(const std::filesystem::path &folder) const;
    void requireSpaceForResult(const RenameJob &job) const;
    [[nodiscard]] bool restoreName(const RenameJob &job) const;

    const Files &m_files;
    Engines m_engines;
    const OriginalsStore *m_originals;
};

} // namespace quorvalent
