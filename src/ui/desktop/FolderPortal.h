#pragma once

#include <QObject>
#include <QVariantMap>

#include <filesystem>
#include <functional>
#include <vector>

class QWidget;

namespace quorvalent {

/// One question to the desktop portal for folders. Deletes itself when it is over.
class FolderPortal : public QObject
{
    Q_OBJECT

public:
    struct Answer
    {
        std::function<void(const std::vector<std::filesystem::path> &)> chosen; ///< some were chosen
        std::function<void()> unavailable; ///< there is no portal that can choose folders
    };

    FolderPortal(QWidget &window, Answer answer);

private:
    Q_SLOT void onResponse(uint response, const QVariantMap &results);

    void askVersion();
    void open();
    void giveUp();

    QWidget &m_window;
    Answer m_answer;
};

} // namespace quorvalent
