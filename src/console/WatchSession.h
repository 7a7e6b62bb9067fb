#pragma once

#include "console/Reporter.h"
#include "model/AppModel.h"

#include <deque>
#include <functional>
#include <optional>

namespace quorvalent {

/// One run of quorvalent-watch: has the reporter tell what the model does, and decides when the program ends
/// and with which status. Main thread.
class WatchSession : public QObject
{
    Q_OBJECT

public:
    /// `end` is called once, with the program's exit status. All three outlive the session. The model's queue
    /// makes no pauses.
    WatchSession(AppModel &model, Reporter &reporter, std::function<void(int status)> end);

    void start();

    /// SIGINT or SIGTERM: the first one lets every accepted conversion be finished (status 0), the second one
    /// only the running ones, for a few seconds (status 128 plus its number); later ones change nothing.
    void stop(int signalNumber);

    /// Nobody reads the output any more: only the running conversions are finished (status 1).
    void stopForBrokenOutput();

    /// Renamed files that the end of the program leaves unconverted.
    [[nodiscard]] const std::deque<RenameJob> &abandoned() const { return m_abandoned; }

private:
    void refuseNewJobs();
    void finishRunningJobsOnly(int status);
    void endWhenIdle();

    AppModel &m_model;
    Reporter &m_reporter;
    std::function<void(int)> m_end;
    std::optional<int> m_status; ///< set once the end has been asked for
    std::deque<RenameJob> m_abandoned;
    bool m_dropsWaiting = false;
    bool m_hasEnded = false;
};

} // namespace quorvalent
