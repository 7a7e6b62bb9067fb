#pragma once

#include <QCheckBox>
#include <QVariantAnimation>

namespace quorvalent {

/// A switch at the right end of its row, with a title and possibly a smaller line at the left. The whole row
/// is pressed; Space and Enter switch it.
class Toggle : public QCheckBox
{
    Q_OBJECT

public:
    explicit Toggle(QWidget *parent = nullptr);

    void setTexts(const QString &title, const QString &subtitle = {});
    /// Shows a state of the model: nothing is emitted.
    void setOn(bool on);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;
    [[nodiscard]] bool hasHeightForWidth() const override { return true; }
    [[nodiscard]] int heightForWidth(int width) const override;

Q_SIGNALS:
    /// The user switched it.
    void switched(bool on);

protected:
    void paintEvent(QPaintEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    [[nodiscard]] bool hitButton(const QPoint &position) const override;

private:
    void moveKnob();
    void paintSwitch(QPainter &painter) const;

    QString m_subtitle;
    QVariantAnimation m_knob; ///< 0 off to 1 on
};

} // namespace quorvalent
