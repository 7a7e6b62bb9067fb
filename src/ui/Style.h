#pragma once

#include "ui/PlainTexts.h"

#include <QProxyStyle>

namespace quorvalent {

/// The base on which everything is drawn that Qt draws itself (dialogs, menus, tooltips), and the place where
/// controls ask whether things may move: SH_Widget_Animation_Duration is 0 where they may not. With it no
/// text is read as markup. Menus, and the lists of pickers, are cards like the other floating windows.
class Style : public QProxyStyle
{
    Q_OBJECT

public:
    Style();

    void setReducedMotion(bool reduced) { m_reducedMotion = reduced; }

    using QProxyStyle::polish;
    using QProxyStyle::unpolish;
    void polish(QApplication *application) override;
    void unpolish(QApplication *application) override;
    void polish(QWidget *widget) override;
    int pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const override;
    void drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                       const QWidget *widget) const override;
    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *returnData) const override;

private:
    PlainTexts m_plainTexts;
    bool m_reducedMotion = false;
};

} // namespace quorvalent
