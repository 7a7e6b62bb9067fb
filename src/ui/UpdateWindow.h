#pragma once

#include "platform/update/UpdateDialogs.h"

#include <memory>
#include <optional>

class QWidget;

namespace quorvalent {

class AppModel;

/// What an update shows and asks, in one window whose content follows the steps. A step may come up by itself
/// under the user's hands, so the focus is on the mildest answer, which is also that of Esc and of the closed
/// window. A version that was found without being asked for opens the window behind the keyboard: it is there
/// to be seen and takes nothing that is being typed. Main thread.
class UpdateWindow : public UpdateDialogs
{
public:
    /// The model tells when the language changes, and outlives the window.
    explicit UpdateWindow(AppModel &model);
    ~UpdateWindow() override;

    void showChecking(std::function<void()> cancel) override;
    void showFound(const UpdateRelease &release, const QString &installedVersion,
                   std::function<void(Choice)> answer) override;
    void showDownload(qint64 receivedBytes, qint64 totalBytes, std::function<void()> cancel) override;
    void showPreparation(std::function<void()> cancel) override;
    void showReady(const UpdateRelease &release, std::function<void(bool installNow)> answer) override;
    void showWaiting(std::function<void()> cancel) override;
    void showRestarting() override;
    void showUpToDate(const QString &installedVersion) override;
    void showFailure(const QString &sentence) override;
    void close() override;

    [[nodiscard]] QWidget &window() const;

private:
    class Window;
    enum class Answer { Mildest, Aside, Act };
    struct Page;
    using MakePage = std::function<Page()>;

    void show(MakePage page, std::function<void(Answer)> answer);
    void present(bool takesFocus);
    void give(Answer answer);
    void refresh();

    std::unique_ptr<Window> m_window;
    MakePage m_page; ///< in the language shown; nothing while closed
    std::function<void(Answer)> m_answer;
    std::optional<qint64> m_shownPercent; ///< of the download
};

} // namespace quorvalent
