#pragma once

#include "core/Activity.h"

#include <QWidget>

namespace quorvalent {

class IconView;
class Label;
class WrappingLabel;

/// One outcome in the list of recent conversions.
class ActivityRow : public QWidget
{
    Q_OBJECT

public:
    explicit ActivityRow(const Activity &activity, QWidget *parent = nullptr);

    void refresh();

private:
    Activity m_activity;
    IconView *m_icon;
    WrappingLabel *m_detail;
    Label *m_time;
};

} // namespace quorvalent
