#include "ui/views/SettingsView.h"

#include "i18n/AppVersion.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/Theme.h"
#include "ui/controls/ScrollArea.h"
#include "ui/controls/SidebarButton.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/AboutSection.h"
#include "ui/views/ActivitySection.h"
#include "ui/views/AudioSection.h"
#include "ui/views/Brand.h"
#include "ui/views/GeneralSection.h"
#include "ui/views/PhotosSection.h"
#include "ui/views/UpdateSettingsView.h"
#include "ui/views/VideoSection.h"

#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QVBoxLayout>

#include <array>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

enum SectionIndex { General, Folders, Photos, Audio, Video, Activities, About, Updates };

struct SectionEntry
{
    QString name; ///< also the value of the model's selected tab
    Symbol symbol;
    QString subtitle;
};

// In the order of SectionIndex.
const std::array<SectionEntry, 8> &sections()
{
    static const std::array<SectionEntry, 8> table{
        SectionEntry{u"Général"_s, Symbol::Sliders,
                     u"La conversion se fait oublier. Vous gardez le contrôle."_s},
        SectionEntry{u"Dossiers"_s, Symbol::Folder,
                     u"Choisissez où le renommage déclenche une conversion."_s},
        SectionEntry{u"Photos"_s, Symbol::Photo,
                     u"Qualité maximale par défaut, à ajuster format par format."_s},
        SectionEntry{u"Audio"_s, Symbol::Waveform, u"Le débit règle le compromis entre qualité et taille."_s},
        SectionEntry{u"Vidéo"_s, Symbol::Film, u"Choisissez un profil de sortie pour chaque conteneur."_s},
        SectionEntry{u"Activité"_s, Symbol::ClockArrow, u"Les 30 dernières conversions de cette session."_s},
        SectionEntry{u"À propos de"_s, Symbol::InfoCircle, u"about.subtitle"_s},
        SectionEntry{u"Mises à jour"_s, Symbol::ArrowDownCircle, u"updates.subtitle"_s},
    };
    return table;
}

// The first section for a name that is none of theirs.
int indexOf(const QString &name)
{
    const auto found = std::ranges::find(sections(), name, &SectionEntry::name);
    return found == sections().end() ? General : static_cast<int>(found - sections().begin());
}

// A scroll bar stands in the right margin.
QMargins sidebarMargins(bool narrow)
{
    const int side = narrow ? metrics::symbolBarPadding : metrics::sidebarPadding;
    return {side, metrics::sidebarPadding, side - metrics::scrollBar, metrics::sidebarPadding};
}

QMargins contentMargins(bool narrow)
{
    const int side = narrow ? metrics::narrowPadding : metrics::contentPadding;
    return {side, side, side - metrics::scrollBar, side};
}

} // namespace

SettingsView::SettingsView(AppModel &model, Services services, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_services(std::move(services))
    , m_sections(static_cast<int>(sections().size()), nullptr)
{
    resize(metrics::settingsSize);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    row->addWidget(makeSidebar());
    row->addWidget(makeContent(), 1);
    row->activate(); // the page's texts are set in its real width
    connect(&model, &AppModel::changed, this, &SettingsView::refresh);
    refresh();
}

QWidget *SettingsView::makeSidebar()
{
    auto *sidebar = new QWidget;
    m_brand = new Brand;
    m_choices = new QWidget;
    auto *buttons = new QVBoxLayout(m_choices);
    buttons->setContentsMargins(0, 0, 0, 0);
    buttons->setSpacing(metrics::sidebarButtonGap);
    for (const SectionEntry &section : sections()) {
        auto *button = new SidebarButton(section.symbol);
        connect(button, &SidebarButton::toggled, this, [this, name = section.name](bool chosen) {
            if (chosen)
                m_model.setSelectedTab(name);
        });
        buttons->addWidget(button);
        m_buttons.append(button);
    }
    m_noStatusArea = new WrappingLabel(TextStyle::Small, Tone::Secondary);
    m_version = new Label(TextStyle::Tiny, Tone::Secondary);
    auto *column = new QVBoxLayout(sidebar);
    column->setContentsMargins(sidebarMargins(false));
    column->setSpacing(metrics::sidebarSpacing);
    column->addWidget(m_brand);
    column->addWidget(m_choices);
    column->addStretch();
    column->addWidget(m_noStatusArea);
    column->addWidget(m_version);
    m_sidebar = new ScrollArea;
    m_sidebar->setFixedWidth(metrics::sidebarWidth);
    m_sidebar->setWidget(sidebar);
    sidebar->setAutoFillBackground(false);
    return m_sidebar;
}

QWidget *SettingsView::makeContent()
{
    m_title = new WrappingLabel(TextStyle::PageTitle);
    m_subtitle = new WrappingLabel(TextStyle::Body, Tone::Secondary);
    m_page = new QWidget;
    auto *header = new QVBoxLayout;
    header->setSpacing(metrics::headerSpacing);
    header->addWidget(m_title);
    header->addWidget(m_subtitle);
    auto *column = new QVBoxLayout(m_page);
    column->setContentsMargins(contentMargins(false));
    column->setSpacing(metrics::contentSpacing);
    column->addLayout(header);
    column->addStretch();
    m_scroll = new ScrollArea;
    m_scroll->setWidget(m_page);
    m_page->setAutoFillBackground(false);
    return m_scroll;
}

Section *SettingsView::makeSection(int index)
{
    switch (index) {
    case Folders:
        return new FoldersSection(m_model, m_services.chooseFolders);
    case Photos:
        return new PhotosSection(m_model);
    case Audio:
        return new AudioSection(m_model);
    case Video:
        return new VideoSection(m_model);
    case Activities:
        return new ActivitySection(m_model);
    case About:
        return new AboutSection(m_model);
    case Updates:
        return new UpdateSettingsView(m_model, m_services.updater);
    default:
        return new GeneralSection(m_model);
    }
}

void SettingsView::showSection(int index)
{
    if (m_shown == index)
        return;
    // The keyboard stays with the section that is chosen, whoever has chosen it.
    const QWidget *focus = window()->focusWidget();
    const bool movesFocus = m_shown >= 0 && focus != nullptr &&
                            (m_buttons.contains(focus) || m_sections[m_shown]->isAncestorOf(focus));
    if (movesFocus)
        m_buttons[index]->setFocus();
    if (m_shown >= 0)
        m_sections[m_shown]->hide();
    Section *&section = m_sections[index];
    if (section == nullptr) {
        section = makeSection(index);
        auto *column = static_cast<QVBoxLayout *>(m_page->layout());
        column->insertWidget(column->count() - 1, section); // before the stretch
    }
    section->show();
    m_shown = index;
    m_scroll->verticalScrollBar()->setValue(0);
}

void SettingsView::refresh()
{
    const int index = indexOf(m_model.selectedTab());
    showSection(index);
    m_brand->refresh();
    m_choices->setAccessibleName(L(u"Sections des réglages"_s));
    for (int i = 0; i < m_buttons.size(); ++i) {
        m_buttons[i]->setText(L(sections().at(static_cast<std::size_t>(i)).name));
        m_buttons[i]->setToolTip(m_isNarrow ? m_buttons[i]->text() : QString());
        if (i == index)
            m_buttons[i]->setChecked(true);
    }
    const SectionEntry &section = sections().at(static_cast<std::size_t>(index));
    m_title->setText(L(section.name));
    m_subtitle->setText(L(section.subtitle));
    m_noStatusArea->showText(m_services.hasStatusArea()
                                 ? QString()
                                 : L(u"Ce bureau n’affiche pas d’icône d’état. Ouvrez de nouveau "
                                     "Quorvalent pour revenir à cette fenêtre."_s));
    m_version->setText(L(u"Version"_s) + u' ' + L(AppVersion::display()));
    m_sections[index]->refresh();
    m_sidebar->fitPage();
    m_scroll->fitPage();
}

void SettingsView::setNarrow(bool narrow)
{
    if (m_isNarrow == narrow)
        return;
    m_isNarrow = narrow;
    m_sidebar->setFixedWidth(narrow ? metrics::symbolBarWidth : metrics::sidebarWidth);
    m_brand->setVisible(!narrow);
    m_version->setVisible(!narrow);
    for (SidebarButton *button : m_buttons)
        button->setSymbolOnly(narrow);
    m_sidebar->widget()->layout()->setContentsMargins(sidebarMargins(narrow));
    m_page->layout()->setContentsMargins(contentMargins(narrow));
    // Among symbols there is no room for a sentence.
    auto *home = static_cast<QVBoxLayout *>((narrow ? m_page : m_sidebar->widget())->layout());
    home->insertWidget(narrow ? home->count() : home->count() - 1, m_noStatusArea);
    refresh();
}

void SettingsView::keyPressEvent(QKeyEvent *event)
{
    if (!m_scroll->page(event->key()))
        QWidget::keyPressEvent(event);
}

void SettingsView::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    setNarrow(width() < metrics::symbolBarBelow);
}

void SettingsView::paintEvent(QPaintEvent * /*event*/)
{
    const Theme &theme = Theme::of(*this);
    QPainter painter(this);
    painter.fillRect(rect(), theme.window);
    const QRect sidebar(0, 0, m_sidebar->width(), height());
    painter.fillRect(sidebar, theme.underPage);
    painter.fillRect(QRect(sidebar.right(), 0, 1, height()), theme.separator);
}

} // namespace quorvalent
