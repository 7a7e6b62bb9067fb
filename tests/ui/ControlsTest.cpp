#include "ui/Style.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/Picker.h"
#include "ui/controls/ProgressLine.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/QualitySlider.h"
#include "ui/controls/SidebarButton.h"
#include "ui/controls/TextBlock.h"
#include "ui/controls/Toggle.h"
#include "ui/controls/WrappingLabel.h"

#include <QAccessible>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

const QString khmer = QStringLiteral("ប្រសិនបើអ្នកប្តូរឈ្មោះឯកសារមួយកម្មវិធីនេះនឹងបំប្លែងវាទៅជាទម្រង់ថ្មីដោយស្វ័យប្រវត្តិ");

TEST(TextBlock, BreaksWhatHasNoSpaces)
{
    for (const QString &text : {khmer, QString(90, u'x'), QString(60, u'変')}) {
        const TextBlock block(text, fontOf(TextStyle::Body), 200, 0);
        EXPECT_LE(block.size().width(), 200) << text.toStdString();
        EXPECT_GT(block.lines(), 1) << text.toStdString();
        EXPECT_FALSE(block.isCut());
    }
}

TEST(TextBlock, EndsInAnEllipsisAfterTheLastLine)
{
    const QFont font = fontOf(TextStyle::Body);
    const TextBlock whole(khmer, font, 200, 0);
    const TextBlock two(khmer, font, 200, 2);
    EXPECT_GT(whole.lines(), 2);
    EXPECT_EQ(two.lines(), 2);
    EXPECT_TRUE(two.isCut());
    EXPECT_LT(two.size().height(), whole.size().height());
    EXPECT_FALSE(TextBlock(khmer, font, 200, whole.lines()).isCut());
}

TEST(TextBlock, CountsLinesOfATextWithBreaks)
{
    EXPECT_EQ(TextBlock(QStringLiteral("a\nb"), fontOf(TextStyle::Body), 200, 0).lines(), 2);
}

/// Shown, so that keys and focus reach the control.
template <typename Control, typename... Arguments>
Control *shownIn(QWidget &window, Arguments &&...arguments)
{
    auto *control = new Control(std::forward<Arguments>(arguments)..., &window);
    auto *column =
        window.layout() != nullptr ? static_cast<QVBoxLayout *>(window.layout()) : new QVBoxLayout(&window);
    column->addWidget(control);
    window.show();
    control->show();
    column->activate();
    control->setFocus();
    return control;
}

TEST(Controls, AButtonIsPressedBySpaceAndEnter)
{
    QWidget window;
    auto *button = shownIn<PushButton>(window, PushButton::Look::Bordered);
    const QSignalSpy pressed(button, &QPushButton::clicked);
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter})
        QTest::keyClick(button, key);
    EXPECT_EQ(pressed.count(), 3);
    button->setEnabled(false);
    QTest::keyClick(button, Qt::Key_Space);
    EXPECT_EQ(pressed.count(), 3);
}

TEST(Controls, AToggleTellsOnlyWhatTheUserDid)
{
    QWidget window;
    auto *toggle = shownIn<Toggle>(window);
    toggle->setTexts(QStringLiteral("Conserver"), QStringLiteral("Une ligne"));
    toggle->resize(300, 40);
    const QSignalSpy switched(toggle, &Toggle::switched);
    toggle->setOn(true);
    EXPECT_EQ(switched.count(), 0);
    EXPECT_TRUE(toggle->isChecked());
    QTest::keyClick(toggle, Qt::Key_Space);
    QTest::keyClick(toggle, Qt::Key_Return);
    QTest::mouseClick(toggle, Qt::LeftButton, Qt::NoModifier, QPoint(2, 2)); // on the title
    ASSERT_EQ(switched.count(), 3);
    EXPECT_EQ(switched.at(0).at(0), false);
    EXPECT_EQ(switched.at(1).at(0), true);
    EXPECT_FALSE(toggle->isChecked());
}

TEST(Controls, ASliderMovesInStepsOfOnePerCent)
{
    QWidget window;
    auto *slider = shownIn<QualitySlider>(window);
    QList<double> moves;
    QObject::connect(slider, &QualitySlider::moved, slider, [&moves](double to) { moves.append(to); });
    slider->setFraction(0.705); // a stored value between two steps is shown, not changed
    EXPECT_TRUE(moves.isEmpty());
    slider->setFraction(0.7);
    QTest::keyClick(slider, Qt::Key_Right);
    QTest::keyClick(slider, Qt::Key_Home);
    QTest::keyClick(slider, Qt::Key_Left);
    QTest::keyClick(slider, Qt::Key_End);
    EXPECT_EQ(moves, (QList<double>{0.71, 0.01, 1.0}));
    QTest::mouseClick(slider, Qt::LeftButton, Qt::NoModifier, QPoint(0, slider->height() / 2));
    EXPECT_EQ(moves.last(), 0.01);
    EXPECT_FALSE(slider->isSliderDown());
}

TEST(Controls, APickerTellsOnlyWhatTheUserPicked)
{
    QWidget window;
    auto *picker = shownIn<Picker>(window, 135);
    const QList<Picker::Choice> choices{{QStringLiteral("96"), 96}, {QStringLiteral("128"), 128}};
    QList<QVariant> picks;
    QObject::connect(picker, &Picker::picked, picker, [&picks](const QVariant &to) { picks.append(to); });
    picker->setState(choices, 96);
    EXPECT_TRUE(picks.isEmpty());
    QTest::keyClick(picker, Qt::Key_Down);
    EXPECT_EQ(picks, (QList<QVariant>{128}));
    picker->setState(choices, 17); // a stored value that is no choice
    EXPECT_EQ(picker->currentIndex(), -1);
    QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(picker, &wheel);
    EXPECT_FALSE(wheel.isAccepted());
    EXPECT_EQ(picks.size(), 1);
}

TEST(Controls, SectionsAreChosenByArrows)
{
    QWidget window;
    auto *second = shownIn<SidebarButton>(window, Symbol::Folder);
    auto *third = shownIn<SidebarButton>(window, Symbol::Photo);
    second->setChecked(true);
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    second->setFocus();
    QTest::keyClick(second, Qt::Key_Down);
    EXPECT_TRUE(third->isChecked());
    EXPECT_FALSE(second->isChecked());
    EXPECT_TRUE(third->hasFocus());
}

TEST(Controls, StopMovingWhenTheSessionAsksForIt)
{
    Style style;
    QWidget window;
    auto *line = shownIn<ProgressLine>(window, 4);
    line->setFixedWidth(200);
    line->setStyle(&style);
    const auto lightnessAt = [line](double share) {
        return line->grab().toImage().pixelColor(qRound(share * 200), 2).lightness();
    };
    line->setFraction(std::nullopt);
    EXPECT_TRUE(QTest::qWaitFor([&] { return lightnessAt(0.2) != lightnessAt(0.8); }));
    style.setReducedMotion(true);
    const int track = Theme::of(*line).track.lightness();
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return lightnessAt(0.2) == lightnessAt(0.8) && lightnessAt(0.8) != track; }));
}

TEST(Controls, AreWhatTheyAreToAScreenReader)
{
    QWidget window;
    auto *toggle = shownIn<Toggle>(window);
    toggle->setTexts(QStringLiteral("Conserver"), QStringLiteral("Une ligne"));
    toggle->setOn(true);
    auto *slider = shownIn<QualitySlider>(window);
    slider->setAccessibleName(QStringLiteral("Qualité"));
    slider->setFraction(0.7);
    auto *line = shownIn<ProgressLine>(window, 4);
    line->setFraction(0.42);
    auto *name = shownIn<ElidedLabel>(window, TextStyle::Body, Tone::Primary);
    name->setText(QStringLiteral("Vacances.mp4"));
    auto *button = shownIn<PushButton>(window, PushButton::Look::Plain);
    button->setText(QStringLiteral("Détails"));
    auto *picker = shownIn<Picker>(window, 135);

    const auto roleOf = [](QWidget *widget) { return QAccessible::queryAccessibleInterface(widget)->role(); };
    const auto nameOf = [](QWidget *widget) {
        return QAccessible::queryAccessibleInterface(widget)->text(QAccessible::Name);
    };
    EXPECT_EQ(roleOf(toggle), QAccessible::CheckBox);
    EXPECT_EQ(nameOf(toggle), QStringLiteral("Conserver"));
    EXPECT_EQ(QAccessible::queryAccessibleInterface(toggle)->text(QAccessible::Description),
              QStringLiteral("Une ligne"));
    EXPECT_TRUE(QAccessible::queryAccessibleInterface(toggle)->state().checked);
    EXPECT_EQ(roleOf(slider), QAccessible::Slider);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(slider)->valueInterface()->currentValue(), 70);
    EXPECT_EQ(roleOf(line), QAccessible::ProgressBar);
    EXPECT_EQ(QAccessible::queryAccessibleInterface(line)->valueInterface()->currentValue(), 420);
    EXPECT_EQ(roleOf(name), QAccessible::StaticText);
    EXPECT_EQ(nameOf(name), QStringLiteral("Vacances.mp4"));
    EXPECT_EQ(roleOf(button), QAccessible::PushButton);
    EXPECT_EQ(nameOf(button), QStringLiteral("Détails"));
    EXPECT_EQ(roleOf(picker), QAccessible::ComboBox);
}

} // namespace
} // namespace quorvalent
