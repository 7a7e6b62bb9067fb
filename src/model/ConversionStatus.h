#pragma once

#include "convert/InterruptedWork.h"
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

/// The file that a warning is about, as people see it.
struct WarnedFile
{
    QString name;
    QString folder;
    QString message; ///< what happened to it, one complete sentence

    bool operator==(const WarnedFile &) const = default;
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
    QList<WarnedFile> warnedFiles; ///< of the warnings that are counted, newest first
    bool isOriginalLeft = false;   ///< the last job succeeded, and its original stays for a reason of its own

    /// This one runs.
    void show(const RenameJob &job, std::optional<double> fraction);
    void end(const RenameJob &job, const JobOutcome &outcome);
    /// Tells of a conversion that a killed run left unfinished and that has now been put right.
    void addInterruption(const InterruptedConversion &interrupted);
    void clearWarnings();

    [[nodiscard]] ConversionState state() const;
    [[nodiscard]] QString progressTitle() const;
    [[nodiscard]] QString percentageText() const;
    [[nodiscard]] QString bannerLabel() const;

private:
    void add(Activity activity);
    void warn(const QString &title, const WarnedFile &file);
};

} // namespace quorvalent
