#include "ui/views/UpdateSettingsView.h"

#include "i18n/AppVersion.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/Toggle.h"
#include "ui/controls/WrappingLabel.h"
#include "update/UpdateManager.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

UpdateSettingsView::UpdateSettingsView(AppModel &model, UpdateManager &updater, QWidget *parent)
    : Section(parent)
    , m_model(model)
    , m_updater(updater)
    , m_versionLabel(new Label(TextStyle::BodySemibold))
    , m_version(new Label(TextStyle::Body, Tone::Secondary))
    , m_message(new WrappingLabel(TextStyle::Body, Tone::Secondary))
    , m_check(new PushButton(PushButton::Look::Prominent))
    , m_automatic(new Toggle)
    , m_schedule(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
    , m_privacy(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
{
    auto *version = new QHBoxLayout;
    version->addWidget(m_versionLabel);
    version->addStretch();
    version->addWidget(m_version);
    auto *card = new Card;
    card->rows()->addLayout(version);
    card->add(m_message);
    card->rows()->addWidget(m_check, 0, Qt::AlignLeft);
    card->add(new Divider);
    card->add(m_automatic);
    card->add(m_schedule);
    card->add(m_privacy);
    column()->addWidget(card);
    connect(m_check, &PushButton::clicked, this, [this] { m_updater.check(); });
    connect(m_automatic, &Toggle::switched, this, [this](bool on) {
        m_updater.setAutomatic(on);
        refresh(); // an updater that cannot be started leaves everything as it was
    });
    connect(&updater, &UpdateManager::changed, this, &UpdateSettingsView::refresh);
    refresh();
}

void UpdateSettingsView::refresh()
{
    m_versionLabel->setText(L(u"Version"_s));
    m_version->setText(L(AppVersion::display()));
    m_message->setText(L(m_updater.message()));
    m_check->setText(L(u"updates.check"_s));
    m_check->setEnabled(m_updater.canCheck() && !m_model.installingUpdate());
    m_automatic->setTexts(L(u"updates.automatic"_s));
    m_automatic->setOn(m_updater.automatic());
    m_schedule->setText(L(u"updates.schedule"_s));
    m_privacy->setText(L(u"updates.privacy"_s));
}

} // namespace quorvalent
