#pragma once

#include <QWidget>

namespace quorvalent {

/// A row of a list, which is pressed as a whole: by Enter or a double click, or with one click where it says
/// so. Its content is inset, so that the ring around it does not touch the texts.
class ListRow : public QWidget
{
    Q_OBJECT

public:
    enum class Press { Once, Twice };

    explicit ListRow(Press press, QWidget *parent = nullptr);

Q_SIGNALS:
    void pressed();
    /// The context menu is wanted there, on the screen.
    void menuWanted(const QPoint &place);

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;
    void enterEvent(QEnterEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;

private:
    Press m_press;
};

} // namespace quorvalent
