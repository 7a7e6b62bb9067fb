#include "ui/UpdateWindow.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "ui/Metrics.h"
#include "ui/Screens.h"
#include "ui/controls/Card.h"
#include "ui/controls/IconView.h"
#include "ui/controls/ProgressLine.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/ScrollArea.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/icons/AppIcon.h"

#include <QAccessible>
#include <QApplication>
#include <QDialog>
#include <QLocale>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int hundredPercent = 100;

/// As the language writes it; number and unit stay on one line.
QString sizeText(qint64 bytes)
{
    return QLocale(Localization::code())
        .formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat)
        .replace(u' ', QChar::Nbsp);
}

} // namespace

/// What a step shows; what is empty is not there.
struct UpdateWindow::Page
{
    Symbol symbol = Symbol::ArrowDownCircle;
    Tone tone = Tone::Accent;
    QString title;
    QString text = {};
    QString detail = {};
    QString notes = {};
    bool isBusy = false;
    std::optional<double> fraction = {}; ///< of what it is busy with
    QString aside = {};                  ///< labels of the buttons
    QString mildest = {};
    QString act = {};
};

class UpdateWindow::Window : public QDialog
{
public:
    Window()
        : QDialog(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                               Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint)
        , aside(new PushButton(PushButton::Look::Plain))
        , mildest(new PushButton)
        , act(new PushButton(PushButton::Look::Prominent))
        , m_icon(new IconView(Symbol::ArrowDownCircle, metrics::updateIcon))
        , m_title(new WrappingLabel(TextStyle::Heading))
        , m_text(new WrappingLabel(TextStyle::Body, Tone::Secondary))
        , m_progress(new ProgressLine(metrics::progressHeight))
        , m_detail(new WrappingLabel(TextStyle::Secondary, Tone::Secondary))
        , m_notesTitle(new WrappingLabel(TextStyle::BodySemibold))
        , m_notesCard(new Card)
        , m_notesArea(new ScrollArea)
        , m_notes(new WrappingLabel(TextStyle::Secondary))
    {
        setWindowIcon(appIcon());
        setAttribute(Qt::WA_QuitOnClose, false);
        connect(new QShortcut(QKeySequence::Close, this), &QShortcut::activated, this, &QDialog::reject);
        connect(mildest, &PushButton::clicked, this, &QDialog::reject);

        auto *head = new QHBoxLayout;
        head->setSpacing(metrics::rowGap);
        head->addWidget(m_icon, 0, Qt::AlignTop);
        head->addWidget(m_title, 1);
        m_notesArea->setWidget(m_notes);
        m_notes->setAutoFillBackground(false); // the card is behind it
        m_notesCard->add(m_notesArea);
        auto *texts = new QVBoxLayout;
        texts->setContentsMargins(metrics::buttonPlainPadding, 0, 0, 0);
        texts->setSpacing(metrics::cardSpacing);
        texts->addLayout(head);
        texts->addWidget(m_text);
        texts->addWidget(m_progress);
        texts->addWidget(m_detail);
        texts->addWidget(m_notesTitle);
        texts->addWidget(m_notesCard);
        auto *buttons = new QHBoxLayout;
        buttons->setSpacing(metrics::rowGap);
        buttons->addWidget(aside);
        buttons->addStretch();
        buttons->addWidget(mildest);
        buttons->addWidget(act);
        m_column = new QVBoxLayout(this);
        // The plain button begins left of the texts, so that its own text lines up with them.
        m_column->setContentsMargins(metrics::popoverPadding - metrics::buttonPlainPadding,
                                     metrics::popoverPadding, metrics::popoverPadding,
                                     metrics::popoverPadding);
        m_column->setSpacing(metrics::cardSpacing);
        m_column->addLayout(texts);
        m_column->addLayout(buttons);
    }

    void fill(const Page &page)
    {
        setWindowTitle(L(u"Mises à jour"_s));
        setAccessibleDescription(page.text.isEmpty() ? page.title : page.title + u' ' + page.text);
        m_icon->setSymbol(page.symbol, page.tone);
        m_title->setText(page.title);
        m_text->showText(page.text);
        m_progress->setVisible(page.isBusy);
        m_progress->setAccessibleName(page.title);
        m_progress->setFraction(page.fraction);
        m_detail->showText(page.detail);
        m_notesTitle->showText(page.notes.isEmpty() ? QString() : L(u"Nouveautés de cette version"_s));
        m_notesArea->setAccessibleName(m_notesTitle->text());
        m_notes->setText(page.notes);
        m_notesCard->setHidden(page.notes.isEmpty());
        for (const auto &[button, label] :
             {std::pair(aside, page.aside), std::pair(mildest, page.mildest), std::pair(act, page.act)}) {
            button->setText(label);
            button->setHidden(label.isEmpty());
        }
        fit();
    }

    [[nodiscard]] QString title() const { return m_title->text(); }

    PushButton *aside;
    PushButton *mildest;
    PushButton *act;

private:
    // As large as the page; layouts are told to forget what they know of the page before.
    void fit()
    {
        layOut();
        const int width = std::max(metrics::dialogWidth, m_column->minimumSize().width());
        const int notesWidth = width - 2 * metrics::popoverPadding - 2 * metrics::cardPadding;
        const int notesHeight = m_notes->heightForWidth(notesWidth);
        m_notesArea->setFixedHeight(std::min(notesHeight, metrics::updateNotesHeight));
        m_notesArea->setFocusPolicy(notesHeight > metrics::updateNotesHeight ? Qt::StrongFocus : Qt::NoFocus);
        layOut();
        setFixedSize(width, m_column->totalHeightForWidth(width));
        layOut();
    }

    void layOut()
    {
        m_notesCard->rows()->update();
        m_notesCard->rows()->activate();
        m_column->update();
        m_column->activate();
    }

    QVBoxLayout *m_column;
    IconView *m_icon;
    WrappingLabel *m_title;
    WrappingLabel *m_text;
    ProgressLine *m_progress;
    WrappingLabel *m_detail;
    WrappingLabel *m_notesTitle;
    Card *m_notesCard;
    ScrollArea *m_notesArea;
    WrappingLabel *m_notes;
};

UpdateWindow::UpdateWindow(AppModel &model)
    : m_window(std::make_unique<Window>())
{
    QObject::connect(m_window.get(), &QDialog::rejected, m_window.get(), [this] { give(Answer::Mildest); });
    QObject::connect(m_window->aside, &PushButton::clicked, m_window.get(), [this] { give(Answer::Aside); });
    QObject::connect(m_window->act, &PushButton::clicked, m_window.get(), [this] { give(Answer::Act); });
    QObject::connect(&model, &AppModel::languageChanged, m_window.get(), [this] { refresh(); });
}

UpdateWindow::~UpdateWindow() = default;

QWidget &UpdateWindow::window() const
{
    return *m_window;
}

void UpdateWindow::showChecking(std::function<void()> cancel)
{
    show([] { return Page{.title = L(u"updates.checking"_s), .isBusy = true, .mildest = L(u"Annuler"_s)}; },
         [cancel = std::move(cancel)](Answer) { cancel(); });
    present(true);
}

void UpdateWindow::showFound(const UpdateRelease &release, const QString &installedVersion,
                             std::function<void(Choice)> answer)
{
    show(
        [release, installedVersion] {
            return Page{.title = L(u"Une mise à jour est disponible"_s),
                        .text = composed(L(u"Quorvalent {0} est disponible. Vous utilisez la version {1}."_s),
                                         {release.version.toString(), installedVersion}),
                        .detail =
                            composed(L(u"Taille du téléchargement : {0}"_s), {sizeText(release.lengthBytes)}),
                        .notes = release.notesIn(Localization::code()),
                        .aside = L(u"Ignorer cette version"_s),
                        .mildest = L(u"Plus tard"_s),
                        .act = L(u"Installer"_s)};
        },
        [answer = std::move(answer)](Answer given) {
            answer(given == Answer::Act     ? Choice::Install
                   : given == Answer::Aside ? Choice::Skip
                                            : Choice::Later);
        });
    present(false);
}

void UpdateWindow::showDownload(qint64 receivedBytes, qint64 totalBytes, std::function<void()> cancel)
{
    const qint64 percent = receivedBytes * hundredPercent / std::max<qint64>(totalBytes, 1);
    if (m_shownPercent == percent)
        return; // with the same answer as before
    show(
        [receivedBytes, totalBytes] {
            return Page{.title = L(u"Téléchargement de la mise à jour…"_s),
                        .detail = composed(L(u"Téléchargé : {0} sur {1}"_s),
                                           {sizeText(receivedBytes), sizeText(totalBytes)}),
                        .isBusy = true,
                        .fraction = static_cast<double>(receivedBytes) / static_cast<double>(totalBytes),
                        .mildest = L(u"Annuler"_s)};
        },
        [cancel = std::move(cancel)](Answer) { cancel(); });
    m_shownPercent = percent;
}

void UpdateWindow::showPreparation(std::function<void()> cancel)
{
    show(
        [] {
            return Page{
                .title = L(u"Préparation de l’installation…"_s), .isBusy = true, .mildest = L(u"Annuler"_s)};
        },
        [cancel = std::move(cancel)](Answer) { cancel(); });
}

void UpdateWindow::showReady(const UpdateRelease & /*release*/, std::function<void(bool installNow)> answer)
{
    show(
        [] {
            return Page{.title = L(u"La mise à jour est prête à être installée"_s),
                        .text = L(u"Quorvalent va redémarrer avec la nouvelle version."_s),
                        .mildest = L(u"Plus tard"_s),
                        .act = L(u"Installer et redémarrer"_s)};
        },
        [answer = std::move(answer)](Answer given) { answer(given == Answer::Act); });
    present(false);
    QApplication::alert(m_window.get()); // the download may have taken long
}

void UpdateWindow::showWaiting(std::function<void()> cancel)
{
    show(
        [] {
            return Page{.symbol = Symbol::ClockArrow,
                        .title = L(u"La mise à jour est prête à être installée"_s),
                        .text =
                            L(u"La mise à jour sera installée dès que les conversions seront terminées."_s),
                        .aside = L(u"Annuler"_s),
                        .mildest = L(u"Fermer"_s)};
        },
        [cancel = std::move(cancel)](Answer given) {
            if (given == Answer::Aside)
                cancel();
        });
}

void UpdateWindow::showRestarting()
{
    show(
        [] {
            return Page{.title = L(u"Préparation de l’installation…"_s),
                        .text = L(u"Quorvalent va redémarrer avec la nouvelle version."_s),
                        .isBusy = true};
        },
        {});
}

void UpdateWindow::showUpToDate(const QString &installedVersion)
{
    show(
        [installedVersion] {
            return Page{
                .symbol = Symbol::CheckmarkCircle,
                .title = L(u"Quorvalent est à jour"_s),
                .text = composed(L(u"Vous utilisez la version la plus récente : {0}."_s), {installedVersion}),
                .mildest = L(u"OK"_s)};
        },
        {});
    present(false);
}

void UpdateWindow::showFailure(const QString &sentence)
{
    show(
        [sentence] {
            return Page{.symbol = Symbol::ExclamationCircle,
                        .tone = Tone::Orange,
                        .title = L(u"La mise à jour a échoué"_s),
                        .text = L(sentence),
                        .mildest = L(u"Fermer"_s)};
        },
        {});
    present(false);
}

void UpdateWindow::close()
{
    m_answer = nullptr;
    m_page = nullptr;
    m_shownPercent.reset();
    m_window->hide();
}

void UpdateWindow::show(MakePage page, std::function<void(Answer)> answer)
{
    const QString before = m_window->title();
    m_page = std::move(page);
    m_answer = std::move(answer);
    m_shownPercent.reset();
    refresh();
    if (before == m_window->title())
        return; // the same step, further on
    m_window->mildest->setFocus();
    if (m_window->isVisible()) {
        QAccessibleEvent alert(m_window.get(), QAccessible::Alert);
        QAccessible::updateAccessibility(&alert);
    }
}

void UpdateWindow::present(bool takesFocus)
{
    if (!m_window->isVisible()) {
        if (const QScreen *screen = Screens::underPointer()) {
            const QRect area = Screens::visibleArea(*screen);
            m_window->move(area.center() - QPoint(m_window->width() / 2, m_window->height() / 2));
        }
        m_window->setAttribute(Qt::WA_ShowWithoutActivating, !takesFocus);
        m_window->show();
        if (!takesFocus)
            QApplication::alert(m_window.get());
    }
    if (takesFocus) {
        m_window->raise();
        m_window->activateWindow();
    }
}

void UpdateWindow::give(Answer answer)
{
    if (const auto receiver = std::exchange(m_answer, nullptr))
        receiver(answer);
}

void UpdateWindow::refresh()
{
    if (m_page)
        m_window->fill(m_page());
}

} // namespace quorvalent
