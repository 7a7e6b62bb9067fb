#pragma once

#include <QWidget>

#include <filesystem>
#include <functional>

namespace quorvalent {

class PushButton;

/// One watched folder in the list, with the button that removes it.
class FolderRow : public QWidget
{
    Q_OBJECT

public:
    FolderRow(const std::filesystem::path &folder, std::function<void()> remove, QWidget *parent = nullptr);

    void refresh();

private:
    QString m_path;
    PushButton *m_remove;
};

} // namespace quorvalent
