#pragma once

#include "ui/icons/Symbol.h"

#include <QWidget>

namespace quorvalent {

/// A file in a picture: its icon and its name in a small rounded box.
class FileBadge : public QWidget
{
    Q_OBJECT

public:
    FileBadge(Symbol symbol, const QString &fileName, QWidget *parent = nullptr);

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quorvalent
