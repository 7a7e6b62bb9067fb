#pragma once

#include <QWidget>

namespace quorvalent {

/// A borderless window in the shape of a rounded card with a soft border and shadow, which takes no focus
/// from the user's program. Where the desktop cannot show translucent windows it has the same shape and no
/// shadow.
class FloatingCard : public QWidget
{
    Q_OBJECT

public:
    enum class Kind {
        Notice,  ///< above everything on every desktop; the mouse goes through
        Warning, ///< the same with something to press
        Popover, ///< closes on Esc and on a press anywhere else
    };

    FloatingCard(Kind kind, QWidget *content, double radius);

    /// Shows the card with its visible top left corner there, or raises it where it is.
    void showAt(const QPoint &corner);
    void moveTo(const QPoint &corner);
    /// The visible card, without the shadow; on the screen.
    [[nodiscard]] QRect card() const;
    [[nodiscard]] QSize cardSize() const;
    [[nodiscard]] Kind kind() const { return m_kind; }
    [[nodiscard]] QWidget &content() const { return *m_content; }

    /// Takes the content's present size.
    void fit();

Q_SIGNALS:
    /// It was closed, by the user or by the program.
    void hidden();

protected:
    void paintEvent(QPaintEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    [[nodiscard]] int margin() const;
    void followCompositor();

    Kind m_kind;
    QWidget *m_content;
    double m_radius;
    bool m_translucent;
};

} // namespace quorvalent
