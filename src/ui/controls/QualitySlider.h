#pragma once

#include <QSlider>

namespace quorvalent {

/// A fraction between 0.01 and 1 in steps of 0.01, shown and moved in per cent.
class QualitySlider : public QSlider
{
    Q_OBJECT

public:
    explicit QualitySlider(QWidget *parent = nullptr);

    /// Shows a value of the model: nothing is emitted.
    void setFraction(double fraction);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

Q_SIGNALS:
    /// The user moved it.
    void moved(double fraction);

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void wheelEvent(QWheelEvent *event) override;

private:
    void moveTo(double x);
    [[nodiscard]] double knobCentre() const;
};

} // namespace quorvalent
