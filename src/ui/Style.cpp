#include "ui/Style.h"

#include <QApplication>

namespace quorvalent {

using namespace Qt::StringLiterals;

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
    default:
        return QProxyStyle::styleHint(hint, option, widget, returnData);
    }
}

} // namespace quorvalent
