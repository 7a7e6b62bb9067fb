#pragma once

#include "core/RenameJob.h"
#include "model/JobOutcome.h"

#include <QByteArray>
#include <QString>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace quorvalent {

/// Takes finished output, UTF-8, and has it out when it returns.
using Output = std::function<void(const QByteArray &bytes)>;

/// Tells on standard output what the model does. Main thread.
class Reporter
{
public:
    Reporter() = default;
    Reporter(const Reporter &) = delete;
    Reporter &operator=(const Reporter &) = delete;
    virtual ~Reporter() = default;

    virtual void watching(const std::vector<std::filesystem::path> &folders) = 0;
    virtual void detected(const RenameJob &job) = 0;
    /// The detected file was renamed or moved once more, or deleted, before its turn came.
    virtual void dropped(const RenameJob &job) = 0;
    /// `detail` names both formats, `queued` counts the jobs that wait.
    virtual void started(const RenameJob &job, const QString &detail, int queued) = 0;
    virtual void progressed(const RenameJob &job, std::optional<double> fraction) = 0;
    virtual void finished(const RenameJob &job, const JobOutcome &outcome) = 0;
    virtual void problem(const QString &message) = 0;
    /// A signal asked for the end; this many conversions, the running one included, are finished first.
    virtual void stopping(int remaining) = 0;
};

} // namespace quorvalent
