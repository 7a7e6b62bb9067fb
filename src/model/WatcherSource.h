#pragma once

#include "model/ModelServices.h"
#include "watch/RenameWatcher.h"

#include <filesystem>
#include <functional>

namespace quorvalent {

/// The rename watcher as the model's source of jobs. A rename that would be refused is held back until
/// somebody has looked at the file: where it already is what its new name says, nobody hears of it. What a
/// killed run left is put right by the first walk through the folders.
class WatcherSource : public JobSource
{
public:
    /// Whether a file certainly is what its name says. Blocks; throws nothing.
    using Look = std::function<bool(const std::filesystem::path &file)>;

    WatcherSource(JobSourceHandlers handlers, NewNameHandler onNewName, Look isWhatItsNameSays);
    /// Waits for a look in progress; those that wait are dropped.
    ~WatcherSource() override;

    void start(std::vector<std::filesystem::path> folders, std::function<void()> onWatching) override;
    void complete(const QString &identity, const std::optional<FileStamp> &result) override
    {
        m_watcher.complete(identity, result);
    }
    void locate(const QString &identity) override { m_watcher.locate(identity); }

private:
    void sift(const RenameJob &job);

    const std::function<void(const RenameJob &)> m_onRename;
    const Look m_isWhatItsNameSays;
    SerialQueue m_looks; ///< one at a time: a thousand names may be given at once
    RenameWatcher m_watcher;
};

} // namespace quorvalent
