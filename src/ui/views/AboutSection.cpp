#include "ui/views/AboutSection.h"

#include "i18n/AppVersion.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/Bundle.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/icons/AppIcon.h"

#include <QDesktopServices>
#include <QUrl>
#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

QHBoxLayout *factRow(Label *label, Label *value)
{
    auto *row = new QHBoxLayout;
    row->addWidget(label);
    row->addStretch();
    row->addWidget(value);
    return row;
}

// A button that opens an address of the bundle's information, or none where the bundle has no such address.
PushButton *linkButton(const QString &key, const QString &prefix)
{
    auto *button = new PushButton(PushButton::Look::Bordered);
    const std::optional<QString> address = Bundle::information(key);
    button->setVisible(address.has_value());
    if (address) {
        QObject::connect(button, &PushButton::clicked, button,
                         [url = QUrl(prefix + *address)] { QDesktopServices::openUrl(url); });
        button->setToolTip(*address);
    }
    return button;
}

// A button that opens a licence text, or none where the bundle was built without it.
PushButton *licenceButton(const AppModel &model, const QString &name, const QString &subdirectory = {})
{
    auto *button = new PushButton;
    button->setVisible(Bundle::resource(name, subdirectory).has_value());
    QObject::connect(button, &PushButton::clicked, button,
                     [&model, name, subdirectory] { model.openLicense(name, subdirectory); });
    return button;
}

} // namespace

AboutSection::AboutSection(AppModel &model, QWidget *parent)
    : Section(parent)
    , m_model(model)
{
    column()->addWidget(makeProduct());
    column()->addWidget(makeLicences());
    refresh();
}

QWidget *AboutSection::makeProduct()
{
    m_name = new Label(TextStyle::Title);
    m_creator = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    m_versionLabel = new Label;
    m_version = new Label(TextStyle::Body, Tone::Secondary);
    m_releaseLabel = new Label;
    m_release = new Label(TextStyle::Body, Tone::Secondary);
    m_website = linkButton(u"QuorvalentWebsite"_s, {});
    m_contact = linkButton(u"QuorvalentContact"_s, u"mailto:"_s);
    m_help = new PushButton;
    connect(m_help, &PushButton::clicked, this, [this] { m_model.openHelp(); });

    auto *texts = new QVBoxLayout;
    texts->setSpacing(metrics::textGap);
    texts->addStretch();
    texts->addWidget(m_name);
    texts->addWidget(m_creator);
    texts->addStretch();
    auto *head = new QHBoxLayout;
    head->setSpacing(metrics::cardPadding);
    head->addWidget(new AppIconView(metrics::logo));
    head->addLayout(texts, 1);
    auto *links = new QHBoxLayout;
    links->setSpacing(metrics::rowGap);
    links->addWidget(m_website);
    links->addWidget(m_contact);
    links->addWidget(m_help);
    links->addStretch();

    auto *card = new Card;
    card->rows()->addLayout(head);
    card->add(new Divider);
    card->rows()->addLayout(factRow(m_versionLabel, m_version));
    card->rows()->addLayout(factRow(m_releaseLabel, m_release));
    card->add(new Divider);
    card->rows()->addLayout(links);
    return card;
}

QWidget *AboutSection::makeLicences()
{
    m_licences = new WrappingLabel(TextStyle::Heading);
    m_licenceText = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    PushButton *own = licenceButton(m_model, u"LICENSE"_s);
    own->setText(u"MIT"_s);
    PushButton *engine = licenceButton(m_model, u"COPYING.GPLv3"_s, u"FFmpeg"_s);
    engine->setText(u"FFmpeg · GPLv3"_s);
    m_libraries = licenceButton(m_model, u"Libraries-LICENSE.txt"_s);
    auto *buttons = new QHBoxLayout;
    buttons->setSpacing(metrics::rowGap);
    buttons->addWidget(own);
    buttons->addWidget(engine);
    buttons->addWidget(m_libraries);
    buttons->addStretch();
    auto *card = new Card;
    card->add(m_licences);
    card->add(m_licenceText);
    card->rows()->addLayout(buttons);
    return card;
}

void AboutSection::refresh()
{
    m_name->setText(L(u"Quorvalent"_s));
    m_creator->setText(L(u"about.creator"_s));
    m_versionLabel->setText(L(u"Version"_s));
    m_version->setText(L(AppVersion::display()));
    m_releaseLabel->setText(L(u"about.release"_s));
    m_release->setText(AppVersion::releaseDate());
    m_website->setText(L(u"Site web"_s));
    m_contact->setText(L(u"Nous écrire"_s));
    m_help->setText(L(u"Consulter l’aide"_s));
    m_licences->setText(L(u"about.licenses"_s));
    m_licenceText->setText(L(u"about.licenseText"_s));
    m_libraries->setText(L(u"Bibliothèques"_s));
}

} // namespace quorvalent
