#pragma once

#include "ui/controls/TextBlock.h"

#include <QComboBox>
#include <QVariant>

namespace quorvalent {

/// A choice out of a short list. To a screen reader its name is what is chosen, and what it is for is told by
/// the label whose buddy it is.
class Picker : public QComboBox
{
    Q_OBJECT

public:
    explicit Picker(int width, QWidget *parent = nullptr);

    struct Choice
    {
        QString text;
        QVariant value;
        bool operator==(const Choice &) const = default;
    };
    /// Shows the model's state: the choices and the one that holds. Nothing is emitted.
    void setState(const QList<Choice> &choices, const QVariant &value);
    /// A choice has no room for its text.
    [[nodiscard]] bool isCut() const;

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    void showPopup() override;

Q_SIGNALS:
    /// The user chose this value.
    void picked(const QVariant &value);

protected:
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    [[nodiscard]] TextBlock block(const QString &text) const;

    int m_width;
    QList<Choice> m_choices;
};

} // namespace quorvalent
