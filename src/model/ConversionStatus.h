#pragma once

#include "core/Activity.h"
#include "core/RenameJob.h"
#include "model/JobOutcome.h"

#include <QList>
#include <QString>

#include <optional>

namespace quorvalent {

/// "PNG → JPG"
[[nodiscard]] QString changeOfFormat(const RenameJob &job);

/// The three looks of the progress displays.
enum class ConversionState { Converting, Succeeded, Interrupted };

/// Several jobs that are gone through without a stop at each.
struct Batch
{
    int total = 0; ///< those that are over, run or wait
    int over = 0;
    int succeeded = 0;
};

/// What there is to show of the running or last job and of those before it. A plain value; texts are French
/// source texts.
struct ConversionStatus
{
    bool isConverting = false;
    std::optional<double> progress; ///< 0 to 1, or unknown; 1.0 after a success, nothing after a failure
    QString currentName;
    QString currentDetail;
    QList<Activity> activities; ///< newest first, at most 30
    QString warningTitle = QStringLiteral("Format non pris en charge");
    QString warningMessage;
    int warningCount = 0;
    std::optional<Batch>
        batch; ///< of the jobs that run and wait, then the last one's; nothing for a single job

    /// This one runs.
    void show(const RenameJob &job, std::optional<double> fraction);
    void end(const RenameJob &job, const JobOutcome &outcome);

    [[nodiscard]] ConversionState state() const;
    [[nodiscard]] QString progressTitle() const;
    [[nodiscard]] QString percentageText() const;
    [[nodiscard]] QString bannerLabel() const;
};

} // namespace quorvalent
