#pragma once

#include "console/ProgressThrottle.h"
#include "console/Reporter.h"

namespace quorvalent {

/// Lines for people, in the display language; on a terminal also one line at the bottom with the progress of
/// the running job.
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
    void line(const QString &text);
    [[nodiscard]] QByteArray progressLine() const;

    Output m_output;
    Columns m_columns;
    ProgressThrottle m_throttle;
    QString m_name; ///< of the running job's file; empty while none runs
    QString m_detail;
    std::optional<double> m_fraction;
};

} // namespace quorvalent
