#include "platform/X11Desktop.h"
#include "ui/MenuPlacement.h"
#include "ui/Screens.h"

#include <gtest/gtest.h>

namespace quorvalent {
namespace {

using MenuPlacement::Point;
using MenuPlacement::Rect;

struct OriginCase
{
    const char *name;
    Rect frame;
    Rect screen;
    Rect visible;
    double safeTop;
    Point expected;
};

class Origin : public testing::TestWithParam<OriginCase>
{};

TEST_P(Origin, IsUnderTheMenuBar)
{
    const OriginCase &c = GetParam();
    const Point found = MenuPlacement::origin(c.frame, c.screen, c.visible, 24, c.safeTop);
    EXPECT_EQ(found.x, c.expected.x);
    EXPECT_EQ(found.y, c.expected.y);
}

const Rect screen{0, 0, 1920, 1080};
const Rect visible{0, 60, 1920, 996};

// y points up; the top edge of the window is y + height.
INSTANTIATE_TEST_SUITE_P(
    Figures, Origin,
    testing::Values(OriginCase{"bar", {1200, 0, 340, 360}, screen, visible, 0, {1200, 1052 - 360}},
                    OriginCase{"taller", {1200, 0, 340, 470}, screen, visible, 0, {1200, 1052 - 470}},
                    OriginCase{"second",
                               {-700, 0, 340, 360},
                               {-1920, 200, 1920, 1080},
                               {-1920, 200, 1920, 1056},
                               0,
                               {-700, 1252 - 360}},
                    OriginCase{"notch", {1200, 0, 340, 360}, screen, screen, 38, {1200, 1038 - 360}},
                    OriginCase{
                        "hiddenBar", {1200, 0, 340, 360}, screen, screen, 0, {1200, 1080 - 24 - 4 - 360}},
                    OriginCase{"right", {1820, 0, 340, 360}, screen, visible, 0, {1576, 1052 - 360}},
                    OriginCase{"left", {-50, 0, 340, 360}, screen, visible, 0, {4, 1052 - 360}},
                    OriginCase{"tooWide", {300, 0, 1918, 360}, screen, visible, 0, {4, 1052 - 360}},
                    OriginCase{"tooTall", {1200, 0, 340, 2000}, screen, visible, 0, {1200, 64}}),
    [](const auto &tested) { return tested.param.name; });

struct PlaceCase
{
    const char *name;
    QRect item;
    QRect visible;
    QPoint expected;
};

class Place : public testing::TestWithParam<PlaceCase>
{};

TEST_P(Place, IsBesideThePanelOfTheItem)
{
    const PlaceCase &c = GetParam();
    EXPECT_EQ(MenuPlacement::place(QSize(340, 360), c.item, QRect(0, 0, 1920, 1080), c.visible, 24),
              c.expected);
}

// y points down, as in Qt.
INSTANTIATE_TEST_SUITE_P(
    Panels, Place,
    testing::Values(
        PlaceCase{"top", {1000, 5, 22, 22}, {0, 32, 1920, 1048}, {841, 36}},
        PlaceCase{"topRightEnd", {1890, 5, 22, 22}, {0, 32, 1920, 1048}, {1576, 36}},
        PlaceCase{"bottom", {1000, 1050, 22, 22}, {0, 0, 1920, 1040}, {841, 1040 - 4 - 360}},
        PlaceCase{"left", {10, 500, 22, 22}, {60, 0, 1860, 1080}, {64, 331}},
        PlaceCase{"right", {1890, 500, 22, 22}, {0, 0, 1860, 1080}, {1860 - 4 - 340, 331}},
        PlaceCase{"hiddenBottom", {1000, 1060, 22, 20}, {0, 0, 1920, 1080}, {841, 1080 - 24 - 4 - 360}},
        PlaceCase{"thickHiddenBottom", {1000, 1040, 22, 22}, {0, 0, 1920, 1080}, {841, 1040 - 4 - 360}}),
    [](const auto &tested) { return tested.param.name; });

TEST(Inside, MovesARectangleBeforeItShrinksIt)
{
    const QRect area(10, 30, 900, 500);
    EXPECT_EQ(Screens::inside({40, 50, 100, 100}, area), QRect(40, 50, 100, 100));
    EXPECT_EQ(Screens::inside({-60, 480, 100, 100}, area), QRect(10, 430, 100, 100));
    EXPECT_EQ(Screens::inside({-60, 60, 820, 614}, area), QRect(10, 30, 820, 500));
}

TEST(Struts, BelongToTheScreenTheyTouch)
{
    X11Desktop::Panels panels{QSize(1920, 1080), {}};
    panels.struts.push_back({{0, 0, 32, 0, 0, 0, 0, 0, 0, 959, 0, 0}});    // top of the left half
    panels.struts.push_back({{0, 0, 0, 40, 0, 0, 0, 0, 0, 0, 960, 1919}}); // bottom of the right half
    panels.struts.push_back({{0, 50, 0, 0, 0, 0, 0, 1079, 0, 0, 0, 0}});   // right edge of the root
    EXPECT_EQ(X11Desktop::visibleArea({0, 0, 960, 1080}, panels), QRect(0, 32, 960, 1048));
    EXPECT_EQ(X11Desktop::visibleArea({960, 0, 960, 1080}, panels), QRect(960, 0, 910, 1040));
}

} // namespace
} // namespace quorvalent
