#include "ui/controls/FileBadge.h"

#include "ui/Metrics.h"
#include "ui/controls/IconView.h"
#include "ui/controls/Label.h"
#include "ui/controls/Painting.h"

#include <QHBoxLayout>
#include <QPainter>

namespace quorvalent {

FileBadge::FileBadge(Symbol symbol, const QString &fileName, QWidget *parent)
    : QWidget(parent)
{
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(metrics::badgePaddingX, metrics::badgePaddingY, metrics::badgePaddingX,
                            metrics::badgePaddingY);
    row->setSpacing(metrics::buttonIconSpacing);
    row->addWidget(new IconView(symbol, metrics::rowIcon));
    auto *name = new Label(TextStyle::Body);
    name->setText(fileName);
    row->addWidget(name);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void FileBadge::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    paintRounded(painter, rect(), metrics::badgeRadius, theme.window, theme.separator);
}

} // namespace quorvalent
