#include "ui/views/MenuView.h"

#include "i18n/AppVersion.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/controls/Divider.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/StatusDot.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/Brand.h"
#include "ui/views/ProgressContent.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int lastLines = 3;

QHBoxLayout *atBothEnds(QWidget *left, QWidget *right)
{
    auto *row = new QHBoxLayout;
    row->setSpacing(metrics::rowGap);
    row->addWidget(left);
    row->addStretch();
    row->addWidget(right);
    return row;
}

QString lastOutcome(const AppModel &model)
{
    if (model.isConverting() || model.activities().isEmpty())
        return {};
    const Activity &last = model.activities().first();
    return last.name + u" · "_s + L(last.detail);
}

} // namespace

MenuView::MenuView(AppModel &model, Actions actions, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_brand(new Brand)
    , m_progress(new ProgressContent(model))
    , m_warning(new QWidget)
    , m_warningTitle(new PushButton(PushButton::Look::Plain))
    , m_dismiss(new PushButton)
    , m_status(new QWidget)
    , m_dot(new StatusDot)
    , m_statusText(new WrappingLabel(TextStyle::Body))
    , m_last(new WrappingLabel(TextStyle::Secondary, Tone::Secondary, lastLines))
    , m_cancel(new PushButton)
    , m_clearQueue(new PushButton)
    , m_settings(new PushButton)
    , m_pause(new PushButton)
    , m_version(new Label(TextStyle::Secondary, Tone::Secondary))
    , m_quit(new PushButton)
{
    setFixedWidth(metrics::popoverWidth);
    auto *status = new QHBoxLayout(m_status);
    status->setContentsMargins(0, 0, 0, 0);
    status->setSpacing(metrics::rowGap);
    status->addWidget(m_dot);
    status->addWidget(m_statusText, 1);

    m_warningTitle->setSymbol(Symbol::ExclamationShieldFill, Tone::Orange);
    auto *warning = new QVBoxLayout(m_warning);
    warning->setContentsMargins(0, 0, 0, 0);
    warning->setSpacing(metrics::textGap);
    warning->addWidget(m_warningTitle, 0, Qt::AlignLeft);
    warning->addWidget(m_dismiss, 0, Qt::AlignRight);

    auto *column = new QVBoxLayout(this);
    column->setContentsMargins(metrics::popoverPadding, metrics::popoverPadding, metrics::popoverPadding,
                               metrics::popoverPadding);
    column->setSpacing(metrics::popoverSpacing);
    column->addWidget(m_brand);
    column->addWidget(new Divider);
    column->addWidget(m_warning);
    column->addWidget(m_progress);
    column->addWidget(m_status);
    column->addWidget(m_last);
    column->addLayout(atBothEnds(m_cancel, m_clearQueue));
    column->addLayout(atBothEnds(m_settings, m_pause));
    column->addWidget(new Divider);
    column->addLayout(atBothEnds(m_version, m_quit));

    connect(m_cancel, &PushButton::clicked, this, [this] { m_model.cancelConversion(); });
    connect(m_clearQueue, &PushButton::clicked, this, [this] { m_model.cancelWaiting(); });
    connect(m_settings, &PushButton::clicked, this, [open = std::move(actions.settings)] { open(); });
    connect(m_warningTitle, &PushButton::clicked, this,
            [show = std::move(actions.warningDetails)] { show(); });
    connect(m_dismiss, &PushButton::clicked, this,
            [dismiss = std::move(actions.dismissWarning)] { dismiss(); });
    connect(m_pause, &PushButton::clicked, this, [this] { m_model.togglePause(); });
    connect(m_quit, &PushButton::clicked, this, [quit = std::move(actions.quit)] { quit(); });
    connect(&model, &AppModel::changed, this, &MenuView::refresh);
    refresh();
}

void MenuView::refresh()
{
    setAccessibleName(L(u"Quorvalent"_s));
    m_brand->refresh();
    m_warning->setVisible(m_model.warningCount() > 0);
    m_warningTitle->setText(L(m_model.warningTitle()));
    m_warningTitle->setToolTip(L(u"Détails"_s));
    m_dismiss->setText(L(u"Compris"_s));
    m_progress->refresh();
    m_progress->setVisible(m_model.isConverting());
    m_status->setVisible(!m_model.isConverting());
    m_dot->setTone(m_model.paused() || m_model.isFolderMissing() ? Tone::Orange : Tone::Accent);
    m_statusText->setText(L(m_model.statusText()));
    m_last->showText(lastOutcome(m_model));
    m_cancel->setText(L(u"Annuler"_s));
    m_cancel->setAccessibleName(L(u"Annuler la conversion"_s));
    m_cancel->setVisible(m_model.isConverting());
    m_clearQueue->setText(L(u"Vider la file d’attente"_s));
    m_clearQueue->setVisible(m_model.queued() > 0);
    m_settings->setText(L(u"Réglages…"_s));
    m_pause->setText(L(m_model.pauseActionText()));
    m_version->setText(L(u"Version"_s) + u' ' + L(AppVersion::display()));
    m_quit->setText(L(u"Quitter"_s));
    m_quit->setEnabled(m_model.canQuit());
}

} // namespace quorvalent
