#pragma once

#include <QFrame>

class QVBoxLayout;

namespace quorvalent {

/// A rounded surface that groups what belongs together, one thing under the other.
class Card : public QFrame
{
    Q_OBJECT

public:
    explicit Card(QWidget *parent = nullptr);

    /// Under what is there already.
    void add(QWidget *widget);
    /// For rows that bring room around themselves.
    void setListSpacing();
    [[nodiscard]] QVBoxLayout *rows() const { return m_rows; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QVBoxLayout *m_rows;
};

} // namespace quorvalent
