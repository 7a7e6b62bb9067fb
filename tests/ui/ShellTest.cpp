#include "FakeClock.h"
#include "i18n/Localization.h"
#include "support/FakeWorld.h"
#include "ui/AppDelegate.h"
#include "ui/Style.h"
#include "update/UpdateManager.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class Shell : public testing::Test
{
protected:
    Shell()
        : appearance(style)
        , model(world.services(), noDesktop(), AppModel::Mode::Preview)
        , shell({.model = model,
                 .updater = updates,
                 .appearance = appearance,
                 .scheduler = clock.scheduler(),
                 .chooseFolders = [](QWidget &, const auto &) {},
                 .holdSession = [this](bool isBusy) { isHeld = isBusy; },
                 .quit = [this] { ++quits; }},
                {})
    {
        Localization::override = u"fr"_s;
        shell.launch();
    }

    void show(bool converting, std::optional<double> progress)
    {
        ConversionStatus status;
        status.isConverting = converting;
        status.progress = progress;
        status.currentName = u"photo.jpg"_s;
        status.warningCount = model.warningCount();
        model.showSample(status);
    }
    void begin()
    {
        show(true, {});
        model.onToast();
    }
    void succeed()
    {
        show(false, 1.0);
        model.onFinished();
    }
    void fail()
    {
        show(false, {});
        model.onWarning();
    }
    [[nodiscard]] bool warns() const
    {
        return shell.warningPanel() != nullptr && shell.warningPanel()->isVisible();
    }
    [[nodiscard]] bool toasts() const { return shell.toast().isVisible(); }

    test::FakeWorld world;
    test::FakeClock clock;
    Style style;
    Appearance appearance;
    AppModel model;
    UpdateManager updates{model, nullptr};
    int quits = 0;
    bool isHeld = false;
    AppDelegate shell;
};

TEST_F(Shell, OpensTheSettingsWithoutAFolder)
{
    ASSERT_NE(shell.settingsWindow(), nullptr);
    EXPECT_TRUE(shell.settingsWindow()->isVisible());
}

// The test's screen is 800 pixels wide, less than the window would like to be.
TEST_F(Shell, KeepsTheSettingsOnTheScreenAndRemembersTheirPlace)
{
    const QRect area = QGuiApplication::primaryScreen()->availableGeometry();
    auto *window = const_cast<SettingsWindow *>(shell.settingsWindow());
    EXPECT_EQ(window->height(), 590);
    EXPECT_LT(window->width(), area.width());
    const QRect place(120, 90, 500, 400);
    window->resize(place.size());
    window->move(place.topLeft());
    window->close();
    EXPECT_EQ(model.settingsPlace(), place);
    model.setSettingsPlace(place.translated(5000, 5000));
    shell.showSettings();
    EXPECT_TRUE(area.contains(window->geometry()));
    EXPECT_EQ(window->size(), place.size());
}

TEST_F(Shell, HandsItsStateOnToAnotherCopy)
{
    EXPECT_EQ(shell.present().arguments(), QStringList(u"--settings"_s));
    model.setPaused(true);
    EXPECT_EQ(shell.present().arguments(), (QStringList{u"--settings"_s, u"--paused"_s}));
    const LaunchOptions read = LaunchOptions::of({u"quorvalent"_s, u"--paused"_s});
    EXPECT_TRUE(read.paused && !read.settings && !read.previewBanner);
}

TEST_F(Shell, AnnouncesAQuickConversionOnlyAtItsEnd)
{
    begin();
    clock.advance(300ms);
    EXPECT_FALSE(toasts());
    succeed();
    EXPECT_TRUE(toasts());
    clock.advance(1599ms);
    EXPECT_TRUE(toasts());
    clock.advance(1ms);
    EXPECT_FALSE(toasts());
}

TEST_F(Shell, AnnouncesALongConversionAfterSevenTenths)
{
    begin();
    clock.advance(699ms);
    EXPECT_FALSE(toasts());
    clock.advance(1ms);
    EXPECT_TRUE(toasts());
    clock.advance(5s);
    EXPECT_TRUE(toasts());
    succeed();
    clock.advance(1600ms);
    EXPECT_FALSE(toasts());
}

TEST_F(Shell, LeavesAnUnfinishedToastThreeSeconds)
{
    show(false, 0.98);
    model.onFinished();
    clock.advance(2999ms);
    EXPECT_TRUE(toasts());
    clock.advance(1ms);
    EXPECT_FALSE(toasts());
}

TEST_F(Shell, HidesAFinishedToastWhenTheNextJobStarts)
{
    begin();
    succeed();
    clock.advance(1500ms);
    begin();
    EXPECT_FALSE(toasts());
    clock.advance(700ms);
    EXPECT_TRUE(toasts());
    clock.advance(5s); // the first job's hiding was cancelled
    EXPECT_TRUE(toasts());
}

TEST_F(Shell, LeavesTheToastInPlaceThroughABatch)
{
    for (const char *name : {"a", "b", "c"})
        model.enqueue(test::renamed(name + std::string(".png"), name + std::string(".jpg")));
    clock.advance(500ms);
    world.runBackground();
    EXPECT_FALSE(toasts()) << "no finished state of each";
    clock.advance(200ms);
    EXPECT_TRUE(toasts()) << "0.7 s after the batch began, not after its last start";
    world.runBackground();
    EXPECT_TRUE(toasts());
    clock.advance(5s);
    world.runBackground();
    clock.advance(1599ms);
    EXPECT_TRUE(toasts());
    clock.advance(1ms);
    EXPECT_FALSE(toasts());
}

TEST_F(Shell, GivesTheCornerToAWarning)
{
    begin();
    clock.advance(1s);
    fail();
    EXPECT_FALSE(toasts());
    EXPECT_TRUE(warns());
    const FloatingCard *panel = shell.warningPanel();
    fail();
    EXPECT_EQ(shell.warningPanel(), panel);
    begin(); // the next job runs under the warning
    clock.advance(1min);
    EXPECT_FALSE(toasts());
    EXPECT_TRUE(warns());
    shell.dismissWarning();
    EXPECT_FALSE(warns());
    EXPECT_TRUE(toasts());
    EXPECT_EQ(model.warningCount(), 0);
}

TEST_F(Shell, ShowsTheActivityForTheDetails)
{
    fail();
    for (QPushButton *button : shell.warningPanel()->content().findChildren<QPushButton *>()) {
        if (button->text() == u"Détails"_s)
            button->click();
    }
    EXPECT_FALSE(warns());
    EXPECT_EQ(model.selectedTab(), u"Activité"_s);
    EXPECT_TRUE(shell.settingsWindow()->isVisible());
}

// The panel takes no keyboard, so there are other ways to say that it was read.
TEST_F(Shell, DismissesTheWarningFromTheMenuAndByOpeningTheActivity)
{
    shell.toggleMenu(QRect(400, 0, 22, 22));
    fail();
    ConversionStatus warned;
    warned.warningCount = 1;
    model.showSample(warned);
    for (QPushButton *button : shell.popover().card()->content().findChildren<QPushButton *>()) {
        if (button->text() == u"Compris"_s)
            button->click();
    }
    EXPECT_FALSE(warns());
    fail();
    model.showSample(warned);
    model.setSelectedTab(u"Activité"_s);
    EXPECT_FALSE(warns());
    fail();
    EXPECT_TRUE(warns()) << "a new one is not swallowed by the open list";
    QTest::keyClick(&shell.warningPanel()->content(), Qt::Key_Escape);
    EXPECT_FALSE(warns());
}

// Space after two steps once opened the settings, because the steps began where the last visit had ended.
TEST_F(Shell, BeginsEachVisitOfTheMenuAtItsTop)
{
    const auto *card = [this] {
        shell.toggleMenu(QRect(400, 0, 22, 22));
        return shell.popover().card();
    }();
    auto *window = const_cast<FloatingCard *>(card);
    QTest::keyClick(window, Qt::Key_Tab);
    ASSERT_NE(window->focusWidget(), nullptr);
    QTest::keyClick(window, Qt::Key_Escape);
    shell.toggleMenu(QRect(400, 0, 22, 22));
    EXPECT_EQ(window->focusWidget(), nullptr);
}

TEST_F(Shell, RefusesToQuitWhileAConversionRuns)
{
    begin();
    shell.requestQuit();
    EXPECT_EQ(quits, 0);
    shell.finishAndQuit();
    EXPECT_EQ(quits, 0);
    succeed();
    EXPECT_GE(quits, 1);
}

TEST_F(Shell, HoldsTheSessionForConversionsThatLast)
{
    begin();
    clock.advance(1s);
    succeed();
    clock.advance(5s);
    EXPECT_FALSE(isHeld);
    begin();
    clock.advance(2s);
    EXPECT_TRUE(isHeld);
    fail();
    EXPECT_FALSE(isHeld);
}

TEST_F(Shell, PutsBannerAndWarningTwelvePointsFromTheCorner)
{
    const QRect visible = QGuiApplication::primaryScreen()->availableGeometry();
    const auto corner = [&](int width) {
        return QPoint(visible.right() + 1 - 12 - width, visible.top() + 12);
    };
    begin();
    clock.advance(1s);
    EXPECT_EQ(shell.toast().panel()->card(), QRect(corner(280), QSize(280, 44)));
    fail();
    EXPECT_EQ(shell.warningPanel()->card(), QRect(corner(340), QSize(340, 190)));
}

TEST_F(Shell, TogglesThePopoverAndKeepsItsTopEdge)
{
    shell.toggleMenu(QRect(400, 0, 22, 22));
    ASSERT_TRUE(shell.popover().isVisible());
    const QRect idle = shell.popover().card()->card();
    begin();
    QCoreApplication::processEvents();
    const QRect converting = shell.popover().card()->card();
    EXPECT_GT(converting.height(), idle.height());
    EXPECT_EQ(converting.topLeft(), idle.topLeft());
    EXPECT_EQ(idle.width(), 340);
    shell.toggleMenu(QRect(400, 0, 22, 22));
    EXPECT_FALSE(shell.popover().isVisible());
    shell.toggleMenu(QRect(400, 0, 22, 22));
    QTest::keyClick(const_cast<FloatingCard *>(shell.popover().card()), Qt::Key_Escape);
    EXPECT_FALSE(shell.popover().isVisible());
}

} // namespace
} // namespace quorvalent
