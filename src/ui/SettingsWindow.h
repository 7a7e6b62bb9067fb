#pragma once

#include "ui/views/SettingsView.h"

namespace quorvalent {

/// The settings window. Closing hides it; the same window comes back.
class SettingsWindow : public QWidget
{
    Q_OBJECT

public:
    SettingsWindow(AppModel &model, SettingsView::Services services);

    /// In front of the others, with the keyboard; in the middle of the pointer's screen when it was hidden.
    void bringUp();
    void refresh() { m_view->refresh(); }

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    SettingsView *m_view;
};

} // namespace quorvalent
