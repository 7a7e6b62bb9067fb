#pragma once

#include <QWidget>

#include <functional>

namespace quorvalent {

class AppModel;
class Label;
class PushButton;
class WarnedFiles;
class WrappingLabel;

/// The content of the warning panel: why a rename was undone, or a conversion failed, and of which file. The
/// lines that name the files make it higher.
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

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void makeRoomForFiles();

    AppModel &m_model;
    WrappingLabel *m_title;
    Label *m_count;
    WrappingLabel *m_message;
    WarnedFiles *m_files;
    PushButton *m_details;
    PushButton *m_dismiss;
};

} // namespace quorvalent
