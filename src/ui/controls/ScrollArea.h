#pragma once

#include <QScrollArea>

namespace quorvalent {

/// Scrolls a page vertically, with a slim bar that shows only when the page is longer than the window. The
/// bar's room is always kept, so that a page is never set anew for it. Where the window is narrower than the
/// page can be, it scrolls sideways too.
class ScrollArea : public QScrollArea
{
    Q_OBJECT

public:
    explicit ScrollArea(QWidget *parent = nullptr);

    /// Gives the page the height that its present texts need. Heights that depend on a width are remembered
    /// at every level of a page, and texts that changed deep inside do not reach all of them by themselves.
    void fitPage();

    /// Scrolls for a key that turns pages: Page Up, Page Down, Home, End. False for another key.
    bool page(int key);

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    /// However the keyboard came there; Qt does it only for keys pressed inside the page.
    void showFocused(QWidget *focused);
};

} // namespace quorvalent
