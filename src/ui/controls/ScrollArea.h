#pragma once

#include <QScrollArea>

namespace quorvalent {

/// Scrolls a page vertically, behind a slim bar that is there only when the page is longer than the window.
class ScrollArea : public QScrollArea
{
    Q_OBJECT

public:
    explicit ScrollArea(QWidget *parent = nullptr);
};

} // namespace quorvalent
