#pragma once

#include "core/Activity.h"
#include "core/RenameJob.h"
#include "model/JobOutcome.h"

#include <QList>
#include <QString>

#include <optional>

namespace quorvalent {

/// The three looks of the progress displays.
enum class ConversionState { Converting, Succeeded, Interrupted };

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

    void begin(const RenameJob &job);
    void end(const RenameJob &job, const JobOutcome &outcome);

    [[nodiscard]] ConversionState state() const;
    [[nodiscard]] QString progressTitle() const;
    [[nodiscard]] QString percentageText() const;
    [[nodiscard]] QString bannerLabel() const;
};

} // namespace quorvalent
