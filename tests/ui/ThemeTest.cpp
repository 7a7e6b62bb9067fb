#include "ui/Theme.h"
#include "ui/icons/Symbol.h"

#include <QImage>
#include <QPainter>
#include <QWidget>

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <tuple>

namespace quorvalent {
namespace {

double luminance(const QColor &colour)
{
    const auto linear = [](double part) {
        return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) +
           0.0722 * linear(colour.blueF());
}

double contrast(const QColor &ink, const QColor &paper)
{
    const double a = luminance(ink) + 0.05;
    const double b = luminance(paper) + 0.05;
    return std::max(a, b) / std::min(a, b);
}

// 4.5 : 1 is what text of ordinary size needs to be read by people with weak sight.
TEST(Theme, EveryTextIsLegibleOnEverySurface)
{
    for (const Theme *theme : {&Theme::light(), &Theme::dark()}) {
        for (const QColor &surface :
             {theme->window, theme->underPage, theme->card, theme->control, theme->material}) {
            for (const Tone tone : {Tone::Primary, Tone::Secondary, Tone::Accent}) {
                EXPECT_GE(contrast(theme->tone(tone), surface), 4.5)
                    << surface.name().toStdString() << " tone " << static_cast<int>(tone);
            }
            if (surface != theme->underPage) {
                EXPECT_GE(contrast(theme->orange, surface), 4.5) << surface.name().toStdString();
            }
        }
        EXPECT_GE(contrast(theme->onAccent, theme->accent), 4.5);
    }
}

// 3 : 1 is what the parts of a control need that tell what it is and in which state.
TEST(Theme, EveryControlStandsOut)
{
    for (const Theme *theme : {&Theme::light(), &Theme::dark()}) {
        const std::array pairs{
            std::tuple{"ring on a card", theme->focusRing, theme->card},
            std::tuple{"ring on the window", theme->focusRing, theme->window},
            std::tuple{"ring beside the content", theme->focusRing, theme->underPage},
            std::tuple{"ring on a floating card", theme->focusRing, theme->material},
            std::tuple{"ring on a control", theme->focusRing, theme->control},
            std::tuple{"ring on the accent", theme->onAccent, theme->accent},
            std::tuple{"border on a card", theme->controlBorder, theme->card},
            std::tuple{"border on the window", theme->controlBorder, theme->window},
            std::tuple{"border on a floating card", theme->controlBorder, theme->material},
            std::tuple{"groove", theme->track, theme->card},
            std::tuple{"knob of a switch that is off", theme->knob, theme->track},
            std::tuple{"knob of a switch that is on", theme->knobOnAccent, theme->accent},
            std::tuple{"switch that is on", theme->accent, theme->card},
            std::tuple{"progress", theme->accent, theme->progressTrack},
        };
        for (const auto &[what, colour, surface] : pairs) {
            EXPECT_EQ(colour.alpha(), 255) << what;
            EXPECT_GE(contrast(colour, surface), 3) << what << (theme->isDark ? ", dark" : ", light");
        }
    }
}

TEST(Theme, IsTheOneOfTheWidgetsPalette)
{
    QWidget widget;
    widget.setPalette(Theme::dark().palette());
    EXPECT_TRUE(Theme::of(widget).isDark);
    widget.setPalette(Theme::light().palette());
    EXPECT_FALSE(Theme::of(widget).isDark);
    EXPECT_EQ(Theme::light().accent, QColor::fromRgbF(0.04F, 0.40F, 0.30F));
    EXPECT_EQ(Theme::dark().accent, QColor::fromRgbF(0.34F, 0.80F, 0.65F));
}

// A drawing that the renderer cannot read would leave an empty place.
TEST(Symbols, AreDrawnInTheColourThatIsAskedFor)
{
    const QColor ink(200, 30, 60);
    for (int i = 0; i <= static_cast<int>(Symbol::Waveform); ++i) {
        for (const int size : {16, 42}) {
            const QImage image = symbolPixmap(static_cast<Symbol>(i), size, ink, 2)
                                     .toImage()
                                     .convertToFormat(QImage::Format_ARGB32);
            ASSERT_EQ(image.width(), size * 2);
            int inked = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x) {
                    const QColor pixel = image.pixelColor(x, y);
                    inked += pixel.alpha() > 127 ? 1 : 0;
                    if (pixel.alpha() == 255) {
                        ASSERT_EQ(pixel, ink) << i;
                    }
                }
            }
            const double share = static_cast<double>(inked) / (image.width() * image.height());
            EXPECT_GT(share, 0.04) << i;
            EXPECT_LT(share, 0.75) << i;
        }
    }
}

} // namespace
} // namespace quorvalent
