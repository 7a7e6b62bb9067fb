#pragma once

#include "ui/Theme.h"

#include <QWidget>

namespace quorvalent {

/// A small disc whose colour says whether the program works.
class StatusDot : public QWidget
{
    Q_OBJECT

public:
    explicit StatusDot(QWidget *parent = nullptr);

    void setTone(Tone tone);
    [[nodiscard]] Tone tone() const { return m_tone; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    Tone m_tone = Tone::Accent;
};

} // namespace quorvalent
