#include "ui/views/Section.h"

#include "ui/Metrics.h"

#include <QVBoxLayout>

namespace quorvalent {

Section::Section(QWidget *parent)
    : QWidget(parent)
    , m_column(new QVBoxLayout(this))
{
    m_column->setContentsMargins(0, 0, 0, 0);
    m_column->setSpacing(metrics::contentSpacing);
}

} // namespace quorvalent
