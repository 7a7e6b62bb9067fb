#pragma once

#include "ui/controls/Label.h"

namespace quorvalent {

/// A small rounded label.
class Tag : public Label
{
    Q_OBJECT

public:
    explicit Tag(const QString &text, QWidget *parent = nullptr);

    [[nodiscard]] QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quorvalent
