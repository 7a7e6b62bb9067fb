#include "ui/views/FormatRow.h"

#include "ui/Metrics.h"
#include "ui/controls/Label.h"
#include "ui/controls/Tag.h"

#include <QHBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

QWidget *formatRow(const QString &extension, FormatEngine engine, QWidget *control)
{
    auto *row = new QWidget;
    auto *items = new QHBoxLayout(row);
    items->setContentsMargins(0, 0, 0, 0);
    items->setSpacing(metrics::rowGap);
    auto *name = new Label(TextStyle::BodyMono);
    name->setText(extension.toUpper());
    name->setMinimumWidth(metrics::formatName);
    name->setBuddy(control); // what a screen reader calls the control
    items->addWidget(name);
    if (engine == FormatEngine::External)
        items->addWidget(new Tag(u"FFmpeg"_s));
    items->addStretch();
    items->addWidget(control);
    return row;
}

} // namespace quorvalent
