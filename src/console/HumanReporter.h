#pragma once

#include "console/ProgressThrottle.h"
#include "console/Reporter.h"

#include <vector>

namespace quorvalent {

/// Lines for people, in the display language; on a terminal also one line at the bottom with the progress of
/// the running job, of several the oldest.
class HumanReporter : public Reporter
{
public:
    /// Columns of the terminal at this moment, or nothing where the output is no terminal.
    using Columns = std::function<std::optional<int>()>;

    HumanReporter(Output output, Columns columns, ProgressThrottle throttle = ProgressThrottle());

    void watching(const std::vector<std::filesystem::path> &folders) override;
    void detected(const RenameJob &job) override;
    void dropped(const RenameJob &job) override;
    void started(const RenameJob &job, const QString &detail, int queued) override;
    void progressed(const RenameJob &job, std::optional<double> fraction) override;
    void finished(const RenameJob &job, const JobOutcome &outcome) override;
    void problem(const QString &message) override;
    void stopping(int remaining) override;

private:
    struct RunningJob
    {
        std::filesystem::path file;
        QString name;
        QString detail;
        ProgressThrottle throttle;
        std::optional<double> fraction;
    };

    void line(const QString &text);
    /// Takes a job out of those that run.
    void end(const RenameJob &job);
    [[nodiscard]] QByteArray progressLine() const;

    Output m_output;
    Columns m_columns;
    const ProgressThrottle m_throttle; ///< as it is before a job
    std::vector<RunningJob> m_running; ///< oldest first
};

} // namespace quorvalent
