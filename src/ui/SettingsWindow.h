#pragma once

#include "ui/views/SettingsView.h"

#include <optional>

namespace quorvalent {

/// The settings window. Closing hides it; the same window comes back where it was left, in this run of the
/// program and in later ones. Its frame stays whole inside the screen's visible area: where that is smaller
/// than the natural size, so is the window.
class SettingsWindow : public QWidget
{
    Q_OBJECT

public:
    SettingsWindow(AppModel &model, SettingsView::Services services);
    ~SettingsWindow() override;

    /// In front of the others, with the keyboard; for the first time in the middle of the pointer's screen.
    void bringUp();
    void refresh() { m_view->refresh(); }

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void place();
    void keepInside();
    void rememberPlace();
    void watchScreen(const QScreen *screen);

    AppModel &m_model;
    SettingsView *m_view;
};

} // namespace quorvalent
