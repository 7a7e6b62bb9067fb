#pragma once

#include "core/Activity.h"
#include "ui/controls/ListRow.h"

namespace quorvalent {

class ElidedLabel;
class IconView;
class Label;
class WrappingLabel;

/// One outcome, with what is to be known about it, in the list of recent conversions. Pressed, it shows its
/// file.
class ActivityRow : public ListRow
{
    Q_OBJECT

public:
    explicit ActivityRow(const Activity &activity, QWidget *parent = nullptr);

    void refresh();
    [[nodiscard]] const Activity &activity() const { return m_activity; }

private:
    Activity m_activity;
    IconView *m_icon;
    ElidedLabel *m_folder;
    WrappingLabel *m_detail;
    WrappingLabel *m_remarks;
    Label *m_time;
};

} // namespace quorvalent
