#include "ui/UpdateWindow.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "support/FakeWorld.h"
#include "ui/controls/Label.h"
#include "ui/controls/PushButton.h"

#include <QProgressBar>
#include <QScrollArea>
#include <QTest>

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using namespace Qt::StringLiterals;

class UpdateWindowTest : public testing::Test
{
protected:
    UpdateWindowTest()
        : model(world.services(), noDesktop(), AppModel::Mode::Preview)
        , window(model)
    {
        Localization::override = u"fr"_s;
        release.version = QVersionNumber(1, 4);
        release.lengthBytes = 28'413'952;
        release.notes = {{u"fr"_s, u"Plus rapide."_s}, {u"en"_s, u"Faster."_s}};
    }

    template <typename Part>
    QStringList visible() const
    {
        QStringList found;
        for (const Part *part : window.window().findChildren<Part *>()) {
            if (part->isVisible() && !part->text().isEmpty())
                found.append(part->text());
        }
        return found;
    }
    QStringList texts() const { return visible<Label>(); }
    QStringList buttons() const { return visible<PushButton>(); }

    static std::string lines(const QStringList &list) { return list.join(u'\n').toStdString(); }

    void press(const QString &label) const
    {
        for (PushButton *button : window.window().findChildren<PushButton *>()) {
            if (button->isVisible() && button->text() == label) {
                button->click();
                return;
            }
        }
        ADD_FAILURE() << "no button " << label.toStdString();
    }
    void pressEscape() const { QTest::keyClick(&window.window(), Qt::Key_Escape); }
    std::function<void()> note(const char *what)
    {
        return [this, what] { answers.emplace_back(what); };
    }
    std::function<void(UpdateDialogs::Choice)> choice()
    {
        return [this](UpdateDialogs::Choice chosen) {
            const char *names[] = {"install", "later", "skip"};
            answers.emplace_back(names[static_cast<int>(chosen)]);
        };
    }

    test::FakeWorld world;
    AppModel model;
    UpdateWindow window;
    UpdateRelease release;
    std::vector<std::string> answers;
};

struct Step
{
    const char *name;
    std::function<void()> show;
    QStringList texts;
    QStringList buttons;                    ///< the mildest answer has the focus
    std::vector<std::string> onEscape = {}; ///< what Esc answers
    std::vector<std::string> onLast = {};   ///< what the last button answers
};

TEST_F(UpdateWindowTest, ShowsEachStepAndTakesEscapeForTheMildestAnswer)
{
    const auto ready = [this](bool installNow) { answers.emplace_back(installNow ? "now" : "not now"); };
    const Step steps[] = {
        {"checking",
         [&] { window.showChecking(note("cancel")); },
         {u"Recherche de mises à jour…"_s},
         {u"Annuler"_s},
         {"cancel"},
         {"cancel"}},
        {"found",
         [&] { window.showFound(release, u"1.3"_s, choice()); },
         {u"Une mise à jour est disponible"_s,
          u"Quorvalent 1.4 est disponible. Vous utilisez la version 1.3."_s,
          u"Taille du téléchargement : 28,4\u00a0Mo"_s, u"Nouveautés de cette version"_s, u"Plus rapide."_s},
         {u"Ignorer cette version"_s, u"Plus tard"_s, u"Installer"_s},
         {"later"},
         {"install"}},
        {"download",
         [&] { window.showDownload(14'206'976, release.lengthBytes, note("cancel")); },
         {u"Téléchargement de la mise à jour…"_s, u"Téléchargé : 14,2\u00a0Mo sur 28,4\u00a0Mo"_s},
         {u"Annuler"_s},
         {"cancel"},
         {"cancel"}},
        {"preparation",
         [&] { window.showPreparation(note("cancel")); },
         {u"Préparation de l’installation…"_s},
         {u"Annuler"_s},
         {"cancel"},
         {"cancel"}},
        {"ready",
         [&] { window.showReady(release, ready); },
         {u"La mise à jour est prête à être installée"_s,
          u"Quorvalent va redémarrer avec la nouvelle version."_s},
         {u"Plus tard"_s, u"Installer et redémarrer"_s},
         {"not now"},
         {"now"}},
        {"waiting",
         [&] { window.showWaiting(note("cancel")); },
         {u"La mise à jour est prête à être installée"_s,
          u"La mise à jour sera installée dès que les conversions seront terminées."_s},
         {u"Annuler"_s, u"Fermer"_s}},
        {"restarting",
         [&] { window.showRestarting(); },
         {u"Préparation de l’installation…"_s, u"Quorvalent va redémarrer avec la nouvelle version."_s},
         {}},
        {"current",
         [&] { window.showUpToDate(u"1.4"_s); },
         {u"Quorvalent est à jour"_s, u"Vous utilisez la version la plus récente : 1.4."_s},
         {u"OK"_s}},
        {"failure",
         [&] { window.showFailure(u"Le serveur de mises à jour est injoignable."_s); },
         {u"La mise à jour a échoué"_s, u"Le serveur de mises à jour est injoignable."_s},
         {u"Fermer"_s}},
    };
    for (const Step &step : steps) {
        window.showChecking([] {}); // open, as after the user's own question
        step.show();
        EXPECT_EQ(lines(texts()), lines(step.texts)) << step.name;
        EXPECT_EQ(lines(buttons()), lines(step.buttons)) << step.name;
        pressEscape();
        pressEscape();
        EXPECT_EQ(std::exchange(answers, {}), step.onEscape) << step.name << ": once";
        EXPECT_FALSE(window.window().isVisible()) << step.name;

        window.showChecking([] {});
        step.show();
        if (!step.buttons.isEmpty())
            press(step.buttons.last());
        EXPECT_EQ(std::exchange(answers, {}), step.onLast) << step.name;
        window.close();
        pressEscape();
        EXPECT_TRUE(answers.empty()) << step.name << ": closed by the updater";
    }
    window.showFound(release, u"1.3"_s, choice());
    press(u"Ignorer cette version"_s);
    window.showWaiting(note("cancel"));
    press(u"Annuler"_s);
    EXPECT_EQ(answers, (std::vector<std::string>{"skip", "cancel"}));
}

TEST_F(UpdateWindowTest, AnswersNoQuestionThatWasReplaced)
{
    window.showDownload(1, 100, note("first"));
    window.showDownload(50, 100, note("second"));
    EXPECT_EQ(window.window().findChild<QProgressBar *>()->text(), u"50%"_s);
    window.showUpToDate(u"1.4"_s);
    press(u"OK"_s);
    EXPECT_TRUE(answers.empty());
}

TEST_F(UpdateWindowTest, TakesTheFocusOnlyWhenTheUserAsked)
{
    window.showFound(release, u"1.3"_s, choice());
    // What the window system makes of it cannot be seen without one.
    EXPECT_TRUE(window.window().testAttribute(Qt::WA_ShowWithoutActivating));
    window.close();
    window.showChecking(note("cancel"));
    EXPECT_FALSE(window.window().testAttribute(Qt::WA_ShowWithoutActivating));
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window.window()));
    window.showFound(release, u"1.3"_s, choice());
    ASSERT_NE(window.window().focusWidget(), nullptr);
    QTest::keyClick(window.window().focusWidget(), Qt::Key_Return);
    EXPECT_EQ(answers, (std::vector<std::string>{"later"})) << "no Enter too many installs something";
}

// What does not fit is cut off; that can be seen from the sizes.
TEST_F(UpdateWindowTest, CutsNothingOffInAnyLanguage)
{
    release.notes[u"en"_s] = QString(u"A line of what is new.\n"_s).repeated(40);
    const std::function<void()> steps[] = {
        [&] { window.showFound(release, u"1.3"_s, choice()); },
        [&] { window.showReady(release, [](bool) {}); }, [&] { window.showWaiting([] {}); },
        [&] {
            window.showFailure(u"Cette copie de Quorvalent est gérée par le gestionnaire de paquets du "
                               "système. Utilisez-le pour la mettre à jour."_s);
        }};
    for (const auto &show : steps) {
        show();
        for (const Localization::Language &language : Localization::languages()) {
            Localization::override = language.code;
            Q_EMIT model.languageChanged();
            for (const PushButton *button : window.window().findChildren<PushButton *>()) {
                EXPECT_TRUE(!button->isVisible() || (button->size() == button->sizeHint() &&
                                                     window.window().rect().contains(button->geometry())))
                    << language.code.toStdString() << ": " << button->text().toStdString();
            }
            for (const Label *label : window.window().findChildren<Label *>()) {
                EXPECT_TRUE(!label->isVisible() || label->height() >= label->heightForWidth(label->width()))
                    << language.code.toStdString() << ": " << label->text().toStdString();
            }
        }
    }
    EXPECT_LT(window.window().height(), 500);
}

} // namespace
} // namespace quorvalent
