#include "ui/controls/RowText.h"

#include "ui/Metrics.h"
#include "ui/controls/WrappingLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

RowText::RowText(QWidget *parent)
    : QWidget(parent)
    , m_title(new WrappingLabel(TextStyle::BodySemibold))
    , m_subtitle(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(metrics::textGap);
    column->addWidget(m_title);
    column->addWidget(m_subtitle);
}

void RowText::setTexts(const QString &title, const QString &subtitle)
{
    m_title->setText(title);
    m_subtitle->showText(subtitle);
}

} // namespace quorvalent
