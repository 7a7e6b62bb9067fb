#pragma once

#include "ui/views/Section.h"

#include <filesystem>
#include <functional>
#include <vector>

class QVBoxLayout;

namespace quorvalent {

class AppModel;
class FolderRow;
class PushButton;
class RowText;
class WrappingLabel;

/// Asks the user for folders and hands them over, later and only if some were chosen. The widget is the one
/// that asks.
using ChooseFolders =
    std::function<void(QWidget &, std::function<void(const std::vector<std::filesystem::path> &)>)>;

/// The watched folders. Folders that are dropped here are added.
class FoldersSection : public Section
{
    Q_OBJECT

public:
    FoldersSection(AppModel &model, ChooseFolders chooseFolders, QWidget *parent = nullptr);

    void refresh() override;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    [[nodiscard]] QWidget *makeEmptyState();
    void addFolder();
    [[nodiscard]] QWidget *makeRemoval();
    void rebuildRows();
    void removeRow(const std::filesystem::path &folder);

    AppModel &m_model;
    ChooseFolders m_chooseFolders;
    RowText *m_title;
    PushButton *m_add;
    QWidget *m_empty;
    WrappingLabel *m_emptyTitle;
    WrappingLabel *m_emptyText;
    PushButton *m_choose;
    QVBoxLayout *m_rows;
    QList<FolderRow *> m_folderRows;
    QWidget *m_removal; ///< what was removed, and the way back
    WrappingLabel *m_removed;
    PushButton *m_restore;
    std::vector<std::filesystem::path> m_shown;
    WrappingLabel *m_problem;
    WrappingLabel *m_tip;
};

} // namespace quorvalent
