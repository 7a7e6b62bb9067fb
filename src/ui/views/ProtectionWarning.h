#pragma once

#include <QWidget>

#include <functional>

namespace quorvalent {

class AppModel;
class Label;
class PushButton;
class WrappingLabel;

/// The content of the warning panel: why a rename was undone, or a conversion failed.
class ProtectionWarning : public QWidget
{
    Q_OBJECT

public:
    struct Actions
    {
        std::function<void()> dismiss;
        std::function<void()> details;
    };

    ProtectionWarning(AppModel &model, Actions actions, QWidget *parent = nullptr);

    void refresh();

private:
    AppModel &m_model;
    WrappingLabel *m_title;
    Label *m_count;
    WrappingLabel *m_message;
    PushButton *m_details;
    PushButton *m_dismiss;
};

} // namespace quorvalent
