#pragma once

#include "ui/controls/ListRow.h"

#include <filesystem>
#include <functional>

namespace quorvalent {

class IconView;
class PushButton;
class WrappingLabel;

/// One watched folder in the list, with the button that removes it. Pressed, it opens.
class FolderRow : public ListRow
{
    Q_OBJECT

public:
    FolderRow(const std::filesystem::path &folder, std::function<void()> remove, QWidget *parent = nullptr);

    /// Gives the button that removes it the focus.
    void focusRemove();
    /// `isMissing`: nothing is observed in it at present.
    void refresh(bool isMissing);

private:
    QString m_path;
    IconView *m_icon;
    WrappingLabel *m_missing;
    PushButton *m_remove;
};

} // namespace quorvalent
