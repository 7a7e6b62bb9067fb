#pragma once

#include <QWidget>

namespace quorvalent {

/// A hairline between two groups.
class Divider : public QWidget
{
    Q_OBJECT

public:
    explicit Divider(int inset = 0, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    int m_inset; ///< at both ends
};

} // namespace quorvalent
