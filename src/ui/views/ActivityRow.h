#pragma once

#include "core/Activity.h"

#include <QWidget>

namespace quorvalent {

class ElidedLabel;
class IconView;
class Label;
class WrappingLabel;

/// One outcome, with what is to be known about it, in the list of recent conversions.
class ActivityRow : public QWidget
{
    Q_OBJECT

public:
    explicit ActivityRow(const Activity &activity, QWidget *parent = nullptr);

    void refresh();

private:
    Activity m_activity;
    IconView *m_icon;
    ElidedLabel *m_folder;
    WrappingLabel *m_detail;
    WrappingLabel *m_remarks;
    Label *m_time;
};

} // namespace quorvalent
