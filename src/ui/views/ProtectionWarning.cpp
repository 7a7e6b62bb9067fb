#include "ui/views/ProtectionWarning.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "ui/Metrics.h"
#include "ui/controls/IconView.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/WarnedFiles.h"

#include <QKeyEvent>
#include <QVBoxLayout>

#include <algorithm>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int manyWarnings = 2; // from here on their number is shown

} // namespace

ProtectionWarning::ProtectionWarning(AppModel &model, Actions actions, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_title(new WrappingLabel(TextStyle::Heading, Tone::Primary, 1))
    , m_count(new Label(TextStyle::Secondary))
    , m_message(new WrappingLabel(TextStyle::Body, Tone::Secondary, metrics::warningLines))
    , m_files(new WarnedFiles(model))
    , m_details(new PushButton(PushButton::Look::Plain))
    , m_dismiss(new PushButton(PushButton::Look::Bordered))
{
    setFixedWidth(metrics::warningSize.width());
    m_message->shrinkTo(TextStyle::Small);
    m_details->setFixedHeight(metrics::warningButtonHeight);
    m_dismiss->setFixedHeight(metrics::warningButtonHeight);
    auto *header = new QHBoxLayout;
    header->setContentsMargins(metrics::buttonPlainPadding, 0, 0, 0);
    header->setSpacing(metrics::buttonIconSpacing);
    header->addWidget(new IconView(Symbol::ExclamationShieldFill, metrics::warningIcon, Tone::Orange));
    header->addWidget(m_title, 1);
    header->addWidget(m_count);
    auto *message = new QHBoxLayout;
    message->setContentsMargins(metrics::buttonPlainPadding, 0, 0, 0);
    message->addWidget(m_message);
    auto *files = new QHBoxLayout;
    files->setContentsMargins(metrics::buttonPlainPadding, 0, 0, 0);
    files->addWidget(m_files);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_details);
    buttons->addStretch();
    buttons->addWidget(m_dismiss);

    auto *column = new QVBoxLayout(this);
    // The plain button begins left of the texts, so that its own text lines up with them.
    column->setContentsMargins(metrics::warningPadding - metrics::buttonPlainPadding, metrics::warningPadding,
                               metrics::warningPadding, metrics::warningPadding);
    column->setSpacing(metrics::warningSpacing);
    column->addLayout(header);
    column->addLayout(message, 1);
    column->addLayout(files);
    column->addLayout(buttons);

    connect(m_details, &PushButton::clicked, this, [show = std::move(actions.details)] { show(); });
    connect(m_dismiss, &PushButton::clicked, this, [dismiss = std::move(actions.dismiss)] { dismiss(); });
    connect(&model, &AppModel::changed, this, &ProtectionWarning::refresh);
    refresh();
}

void ProtectionWarning::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape)
        m_dismiss->click();
    else
        QWidget::keyPressEvent(event);
}

void ProtectionWarning::refresh()
{
    m_title->setText(L(m_model.warningTitle()));
    const int count = m_model.warningCount();
    m_count->showText(count >= manyWarnings ? QString::number(count) : QString());
    m_count->setAccessibleName(L(composed(u"Avertissements : {0}"_s, {QString::number(count)})));
    m_message->setText(L(m_model.warningMessage()));
    m_files->refresh();
    makeRoomForFiles();
    m_details->setText(L(u"Détails"_s));
    m_dismiss->setText(L(u"Compris"_s));
    setAccessibleName(m_title->text());
    setAccessibleDescription(m_message->text());
}

// The panel without them has a given height; they stand below its text and neither takes room of the other.
void ProtectionWarning::makeRoomForFiles()
{
    constexpr int around =
        2 * (metrics::warningPadding + metrics::warningSpacing) + metrics::warningButtonHeight;
    const QMargins sides = layout()->contentsMargins();
    const int header = layout()->itemAt(0)->heightForWidth(width() - sides.left() - sides.right());
    m_message->setMaximumHeight(metrics::warningSize.height() - around - header);
    const int height = metrics::warningSize.height();
    if (m_files->isHidden())
        setFixedHeight(height);
    else
        setFixedHeight(std::max(height + m_files->sizeHint().height() + metrics::warningSpacing,
                                layout()->totalMinimumHeightForWidth(width())));
}

} // namespace quorvalent
