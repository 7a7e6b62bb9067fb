#include "ui/views/CompactBanner.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/IconView.h"
#include "ui/controls/ProgressLine.h"

#include <QEvent>
#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

void showState(IconView &icon, AppModel::ConversionState state)
{
    switch (state) {
    case AppModel::ConversionState::Converting:
        icon.setSymbol(Symbol::ConvertArrows, Tone::Accent);
        break;
    case AppModel::ConversionState::Succeeded:
        icon.setSymbol(Symbol::Checkmark, Tone::Accent);
        break;
    case AppModel::ConversionState::Interrupted:
        icon.setSymbol(Symbol::ExclamationCircle, Tone::Orange);
        break;
    }
}

} // namespace

CompactBanner::CompactBanner(AppModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_icon(new IconView(Symbol::ConvertArrows, metrics::bannerIcon, Tone::Accent, SymbolWeight::Semibold))
    , m_name(new ElidedLabel(TextStyle::Body))
    , m_label(new Label(TextStyle::SecondaryMedium))
    , m_line(new ProgressLine(metrics::bannerLine))
{
    setFixedSize(metrics::bannerSize);
    auto *row = new QHBoxLayout;
    row->setSpacing(metrics::bannerRowSpacing);
    row->addWidget(m_icon);
    row->addWidget(m_name, 1);
    row->addWidget(m_label);
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(metrics::bannerPadding, 0, metrics::bannerPadding, 0);
    column->setSpacing(metrics::bannerSpacing);
    column->addStretch();
    column->addLayout(row);
    column->addWidget(m_line);
    column->addStretch();
    connect(&model, &AppModel::changed, this, &CompactBanner::refresh);
    refresh();
}

void CompactBanner::refresh()
{
    showState(*m_icon, m_model.conversionState());
    m_name->setText(m_model.currentName());
    m_label->setText(L(m_model.bannerLabel()));
    m_line->setFraction(m_model.progress());
    m_line->setVisible(m_model.isConverting());
    m_line->setTrack(Theme::of(*this).bannerTrack);
    setToolTip(m_model.currentName() + u" — "_s + L(m_model.currentDetail()));
    setAccessibleName(m_model.currentName() + u", "_s + m_label->text());
}

void CompactBanner::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        m_line->setTrack(Theme::of(*this).bannerTrack);
}

} // namespace quorvalent
