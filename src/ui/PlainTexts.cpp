#include "ui/PlainTexts.h"

#include "platform/ControlCharacters.h"
#include "ui/controls/Label.h"

#include <QAbstractItemView>
#include <QHelpEvent>
#include <QToolTip>

namespace quorvalent {

namespace {

// What the widget itself has to say where the pointer rests.
QString explanationOf(const QWidget &widget)
{
    if (!widget.toolTip().isEmpty())
        return widget.toolTip();
    const auto *label = qobject_cast<const Label *>(&widget);
    return label != nullptr && label->isCut() ? label->text() : QString();
}

// QToolTip takes for markup whatever looks like it, and knows no other way to be told that it is none.
QString plain(const QString &text)
{
    const QString shown = withBoxedControls(text, true);
    return Qt::mightBeRichText(shown) ? Qt::convertFromPlainText(shown) : shown;
}

// A label that Qt puts into a dialog of its own, and that has not got its text yet.
void makePlain(QObject *child)
{
    auto *label = qobject_cast<QLabel *>(child);
    if (label != nullptr && label->textFormat() == Qt::AutoText)
        label->setTextFormat(Qt::PlainText);
}

} // namespace

bool PlainTexts::eventFilter(QObject *watched, QEvent *event)
{
    if (event->type() == QEvent::ChildAdded)
        makePlain(static_cast<QChildEvent *>(event)->child());
    if (event->type() != QEvent::ToolTip || !watched->isWidgetType())
        return false;
    auto &widget = static_cast<QWidget &>(*watched);
    const auto *list = qobject_cast<const QAbstractItemView *>(widget.parentWidget());
    if (list != nullptr && list->viewport() == &widget)
        return true; // the names of files in Qt's own dialog
    const QString text = explanationOf(widget);
    if (text.isEmpty())
        return false;
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(), plain(text), &widget);
    return true;
}

} // namespace quorvalent
