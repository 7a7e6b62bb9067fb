#pragma once

#include <QWidget>

namespace quorvalent {

/// A hairline between two groups.
class Divider : public QWidget
{
    Q_OBJECT

public:
    explicit Divider(QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quorvalent
