#include "ui/Style.h"

#include "ui/Metrics.h"
#include "ui/Screens.h"
#include "ui/controls/Painting.h"

#include <QApplication>
#include <QBitmap>
#include <QFrame>
#include <QMenu>
#include <QPainter>
#include <QStyleHintReturnMask>
#include <QStyleOption>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

bool isTranslucent(const QWidget &window)
{
    return window.testAttribute(Qt::WA_TranslucentBackground);
}

// Qt's own window around the list of a picker.
bool isPickerList(const QWidget *widget)
{
    return widget != nullptr && widget->inherits("QComboBoxPrivateContainer");
}

QRegion roundedRegion(const QRect &area)
{
    QBitmap shape(area.size());
    shape.clear();
    QPainter painter(&shape);
    painter.setBrush(Qt::color1);
    painter.drawRoundedRect(QRect(QPoint(), area.size()), metrics::menuRadius, metrics::menuRadius);
    painter.end();
    return shape;
}

} // namespace

Style::Style()
    : QProxyStyle(u"fusion"_s)
{}

void Style::polish(QApplication *application)
{
    QProxyStyle::polish(application);
    application->installEventFilter(&m_plainTexts);
}

void Style::unpolish(QApplication *application)
{
    application->removeEventFilter(&m_plainTexts);
    QProxyStyle::unpolish(application);
}

void Style::polish(QWidget *widget)
{
    QProxyStyle::polish(widget);
    if (qobject_cast<QMenu *>(widget) == nullptr && !isPickerList(widget))
        return;
    widget->setWindowFlags(widget->windowFlags() | Qt::FramelessWindowHint | Qt::NoDropShadowWindowHint);
    widget->setAttribute(Qt::WA_TranslucentBackground, Screens::areComposited());
}

int Style::pixelMetric(PixelMetric metric, const QStyleOption *option, const QWidget *widget) const
{
    if (qobject_cast<const QMenu *>(widget) != nullptr) {
        switch (metric) {
        case PM_MenuHMargin:
        case PM_MenuVMargin:
            return metrics::menuPadding + (isTranslucent(*widget) ? metrics::shadowMargin : 0);
        case PM_MenuPanelWidth:
            return 0;
        default:
            break;
        }
    }
    return QProxyStyle::pixelMetric(metric, option, widget);
}

void Style::drawPrimitive(PrimitiveElement element, const QStyleOption *option, QPainter *painter,
                          const QWidget *widget) const
{
    const bool isMenu = qobject_cast<const QMenu *>(widget) != nullptr;
    if (isMenu && element == PE_FrameMenu)
        return;
    if ((isMenu && element == PE_PanelMenu) || (isPickerList(widget) && element == PE_Frame)) {
        const Theme &theme = Theme::of(*widget);
        const int margin = isTranslucent(*widget) ? metrics::shadowMargin : 0;
        const QRectF card = QRectF(widget->rect()).adjusted(margin, margin, -margin, -margin);
        if (margin > 0)
            paintShadow(*painter, card, metrics::menuRadius, theme);
        paintRounded(*painter, card, metrics::menuRadius, theme.material, theme.materialBorder);
        return;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
}

int Style::styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                     QStyleHintReturn *returnData) const
{
    switch (hint) {
    case SH_Widget_Animation_Duration:
        return m_reducedMotion ? 0 : QProxyStyle::styleHint(hint, option, widget, returnData);
    case SH_ComboBox_Popup: // a list under the picker, rows by its delegate
        return 0;
    case SH_ComboBox_ListMouseTracking:
        return 1;
    case SH_EtchDisabledText:
        return 0;
    case SH_ComboBox_PopupFrameStyle:
        return static_cast<int>(QFrame::StyledPanel) | static_cast<int>(QFrame::Plain);
    case SH_Menu_Mask:
        if (auto *mask = qstyleoption_cast<QStyleHintReturnMask *>(returnData);
            mask != nullptr && widget != nullptr && !isTranslucent(*widget)) {
            mask->region = roundedRegion(option->rect);
            return 1;
        }
        return 0;
    default:
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }
}

} // namespace quorvalent
