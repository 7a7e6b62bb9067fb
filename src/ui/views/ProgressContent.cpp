#include "ui/views/ProgressContent.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/IconView.h"
#include "ui/controls/ProgressLine.h"
#include "ui/controls/WrappingLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int detailLines = 3;

void showState(IconView &icon, AppModel::ConversionState state)
{
    switch (state) {
    case AppModel::ConversionState::Converting:
        icon.setSymbol(Symbol::ConvertArrows, Tone::Accent);
        break;
    case AppModel::ConversionState::Succeeded:
        icon.setSymbol(Symbol::CheckmarkCircleFill, Tone::Accent);
        break;
    case AppModel::ConversionState::Interrupted:
        icon.setSymbol(Symbol::ExclamationCircleFill, Tone::Orange);
        break;
    }
}

} // namespace

ProgressContent::ProgressContent(AppModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_icon(new IconView(Symbol::ConvertArrows, metrics::rowIcon, Tone::Accent, SymbolWeight::Semibold))
    , m_title(new WrappingLabel(TextStyle::BodySemibold))
    , m_percentage(new Label(TextStyle::SecondaryMono, Tone::Secondary))
    , m_name(new ElidedLabel(TextStyle::Body))
    , m_line(new ProgressLine(metrics::progressHeight))
    , m_detail(new WrappingLabel(TextStyle::Secondary, Tone::Secondary, detailLines))
    , m_queued(new WrappingLabel(TextStyle::Secondary))
{
    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(metrics::rowGap);
    auto *header = new QHBoxLayout;
    header->setSpacing(metrics::buttonIconSpacing);
    header->addWidget(m_icon);
    header->addWidget(m_title, 1);
    header->addWidget(m_percentage);
    column->addLayout(header);
    column->addWidget(m_name);
    column->addWidget(m_line);
    column->addWidget(m_detail);
    column->addWidget(m_queued);
    refresh();
}

void ProgressContent::refresh()
{
    showState(*m_icon, m_model.conversionState());
    m_title->setText(L(m_model.progressTitle()));
    m_percentage->showText(L(m_model.percentageText()));
    m_name->setText(m_model.currentName());
    m_line->setAccessibleName(L(u"Progression de la conversion"_s));
    m_line->setFraction(m_model.progress());
    m_line->setVisible(m_model.isConverting());
    m_detail->showText(L(m_model.currentDetail()));
    m_queued->showText(L(m_model.queuedText()));
}

} // namespace quorvalent
