#pragma once

#include <QIcon>
#include <QWidget>

namespace quorvalent {

/// The program's own icon, from its drawing.
[[nodiscard]] QIcon appIcon();

/// The program's icon as a picture.
class AppIconView : public QWidget
{
    Q_OBJECT

public:
    explicit AppIconView(int size, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quorvalent
