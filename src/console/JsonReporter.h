#pragma once

#include "console/ProgressThrottle.h"
#include "console/Reporter.h"

#include <map>

namespace quorvalent {

/// One JSON object a line for each event, for programs.
class JsonReporter : public Reporter
{
public:
    explicit JsonReporter(Output output, ProgressThrottle throttle = ProgressThrottle());

    void watching(const std::vector<std::filesystem::path> &folders) override;
    void detected(const RenameJob &job) override;
    void dropped(const RenameJob &job) override;
    void started(const RenameJob &job, const QString &detail, int queued) override;
    void progressed(const RenameJob &job, std::optional<double> fraction) override;
    void finished(const RenameJob &job, const JobOutcome &outcome) override;
    void problem(const QString &message) override;
    void stopping(int remaining) override;

private:
    Output m_output;
    const ProgressThrottle m_throttle;                        ///< as it is before a job
    std::map<std::filesystem::path, ProgressThrottle> m_jobs; ///< of those that run, by their new names
};

} // namespace quorvalent
