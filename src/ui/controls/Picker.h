#pragma once

#include <QComboBox>
#include <QVariant>

namespace quorvalent {

/// A choice out of a short list. Its accessible name says what is chosen, because it has no visible label of
/// its own.
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

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user chose this value.
    void picked(const QVariant &value);

protected:
    void paintEvent(QPaintEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    int m_width;
    QList<Choice> m_choices;
};

} // namespace quorvalent
