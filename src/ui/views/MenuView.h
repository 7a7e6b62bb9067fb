#pragma once

#include <QWidget>

#include <functional>

namespace quorvalent {

class AppModel;
class Brand;
class Label;
class ProgressContent;
class PushButton;
class StatusDot;
class WrappingLabel;

/// The content of the popover: the state at a glance, and the way to everything else.
class MenuView : public QWidget
{
    Q_OBJECT

public:
    struct Actions
    {
        std::function<void()> settings; ///< opens the settings window
        std::function<void()> quit;
        std::function<void()> dismissWarning;
        std::function<void()> warningDetails; ///< dismisses it too
    };

    MenuView(AppModel &model, Actions actions, QWidget *parent = nullptr);

    void refresh();

private:
    AppModel &m_model;
    Brand *m_brand;
    ProgressContent *m_progress;
    QWidget *m_warning;
    PushButton *m_warningTitle;
    PushButton *m_dismiss;
    QWidget *m_status;
    StatusDot *m_dot;
    WrappingLabel *m_statusText;
    WrappingLabel *m_last;
    PushButton *m_cancel;
    PushButton *m_clearQueue;
    PushButton *m_settings;
    PushButton *m_pause;
    Label *m_version;
    PushButton *m_quit;
};

} // namespace quorvalent
