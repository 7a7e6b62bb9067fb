#pragma once

#include "platform/update/UpdateFeed.h"

#include <QString>

#include <functional>

namespace quorvalent {

/// What the updater shows to the user, one thing at a time; each call takes the place of what was shown
/// before, whose answer does not come any more. Answers come from the event loop, on the main thread, each at
/// most once; closing a dialog is the mildest answer. A check that begins with showFound() is one that nobody
/// asked for.
/// Texts are French source texts.
class UpdateDialogs
{
public:
    enum class Choice { Install, Later, Skip };

    UpdateDialogs() = default;
    UpdateDialogs(const UpdateDialogs &) = delete;
    UpdateDialogs &operator=(const UpdateDialogs &) = delete;
    virtual ~UpdateDialogs() = default;

    virtual void showChecking(std::function<void()> cancel) = 0;
    virtual void showFound(const UpdateRelease &release, const QString &installedVersion,
                           std::function<void(Choice)> answer) = 0;
    /// `totalBytes` is the length of the archive.
    virtual void showDownload(qint64 receivedBytes, qint64 totalBytes, std::function<void()> cancel) = 0;
    /// The signature is being checked, the archive unpacked.
    virtual void showPreparation(std::function<void()> cancel) = 0;
    virtual void showReady(const UpdateRelease &release, std::function<void(bool installNow)> answer) = 0;
    /// The installation goes on by itself once nothing converts; closing this dialog does not end it.
    virtual void showWaiting(std::function<void()> cancel) = 0;
    /// The new version is in place and being started.
    virtual void showRestarting() = 0;
    virtual void showUpToDate(const QString &installedVersion) = 0;
    virtual void showFailure(const QString &sentence) = 0;
    virtual void close() = 0;
};

} // namespace quorvalent
