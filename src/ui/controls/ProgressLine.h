#pragma once

#include <QProgressBar>
#include <QVariantAnimation>

#include <optional>

namespace quorvalent {

/// A thin line that fills from the left, or moves while nobody knows how much is left. Moves only while it is
/// seen, and stands still where the session wants no motion.
class ProgressLine : public QProgressBar
{
    Q_OBJECT

public:
    explicit ProgressLine(int height, QWidget *parent = nullptr);

    /// 0 to 1, or nothing while unknown.
    void setFraction(std::optional<double> fraction);
    /// The colour of what is not filled yet; the theme's track unless said.
    void setTrack(const QColor &track);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
    void showEvent(QShowEvent *event) override;
    void hideEvent(QHideEvent *event) override;

private:
    void updateMotion();

    int m_height;
    std::optional<double> m_fraction;
    QColor m_track;
    QVariantAnimation m_run; ///< the moving piece's way, 0 to 1
};

} // namespace quorvalent
