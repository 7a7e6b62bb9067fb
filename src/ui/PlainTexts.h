#pragma once

#include <QObject>

namespace quorvalent {

/// Sees to it that no text of the program is read as markup: a file name may be a tag, which would have the
/// program open and decode the file that it names. Tooltips are shown as the plain text that they are; so are
/// labels that are cut, whole, and the labels of Qt's own dialogs.
///
/// Filters the events of the application; main thread.
class PlainTexts : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    bool eventFilter(QObject *watched, QEvent *event) override;
};

} // namespace quorvalent
