#pragma once

#include "convert/ConversionReport.h"
#include "core/ConversionRun.h"
#include "core/Preferences.h"
#include "core/RenameJob.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <filesystem>
#include <functional>
#include <optional>

namespace quorvalent {

/// Why a job failed, in French source texts.
struct JobFailure
{
    QString title;
    QString message; ///< one complete sentence
};

/// What became of a job.
struct JobOutcome
{
    std::optional<JobFailure> failure;             ///< nothing after a success and after a cancellation
    QString detail;                                ///< French source text for the activity list
    std::chrono::duration<double> seconds{};       ///< wall time inside the conversion driver
    QStringList remarks;                           ///< what is to be known about a success, sentences
    std::optional<std::filesystem::path> original; ///< where it stands beside the result of a success
    std::optional<FileStamp> result = {};          ///< what a success put under the new name
    std::filesystem::path file = {};               ///< where it stands now
    bool isCancelled = false;                      ///< the user did not want it any more
    bool isElsewhere = false;                      ///< the file was not where the job says
    bool canBeTakenBack = false;                   ///< the removed original is kept for a while

    [[nodiscard]] bool succeeded() const { return !failure && !isCancelled && !isElsewhere; }
};

/// The conversion driver: returns after a success, throws otherwise.
using ConvertJob =
    std::function<ConversionReport(const RenameJob &, const Preferences &, const ConversionRun &)>;

/// Runs the driver on the calling thread and turns whatever it throws into a failure, so that nothing escapes
/// into a worker thread.
[[nodiscard]] JobOutcome outcomeOf(const ConvertJob &convert, const RenameJob &job,
                                   const Preferences &preferences, const ConversionRun &run);

} // namespace quorvalent
