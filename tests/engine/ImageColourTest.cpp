#include "core/ConversionError.h"
#include "engine/ImageEngine.h"
#include "support/Pictures.h"
#include "support/Profiles.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <cmath>

namespace quorvalent::test {

namespace {

// Well inside of sRGB, so that no intent has to press it there.
constexpr Triple muted{0.55, 0.45, 0.35};

Colour bytesOf(const Triple &srgb)
{
    const auto byte = [](double value) { return static_cast<std::uint8_t>(std::lround(value * 255)); };
    return {byte(srgb[0]), byte(srgb[1]), byte(srgb[2]), 255};
}

} // namespace

// ΔE of 2 at most: three steps of 8 bits in a channel.
TEST(ImageColour, staysThatOfTheProfileInEveryTarget)
{
    const TestFolder folder;
    const std::vector<std::pair<const char *, Profile>> profiles{
        {"sRGB", matrixProfile(srgbPrimaries, 2.19921875)},
        {"Adobe RGB", matrixProfile({Triple{0.60974, 0.31111, 0.01947}, Triple{0.20528, 0.62567, 0.06087},
                                     Triple{0.14919, 0.06322, 0.74457}},
                                    2.19921875)},
        {"Display P3", matrixProfile({Triple{0.51512, 0.24120, -0.00105}, Triple{0.29198, 0.69225, 0.04189},
                                      Triple{0.15710, 0.06657, 0.78407}},
                                     2.19921875)},
        {"ProPhoto", matrixProfile({Triple{0.79767, 0.28804, 0}, Triple{0.13519, 0.71188, 0},
                                    Triple{0.03134, 0.00008, 0.82491}},
                                   1.80078125)},
        {"grey", greyProfile(1.80078125)},
        {"scanner, perceptual only", tableProfile("A2B0", "scanner")},
        {"scanner, saturation only", tableProfile("A2B2", "scanner")},
        {"XYB", tableProfile("A2B0", "XYB_Per")},
    };
    for (const auto &[name, profile] : profiles) {
        const auto source = folder.write("a.png", pngBytes(16, muted, profile.bytes));
        const Colour expected = bytesOf(asSrgb(profile.meaning(muted)));
        for (const char *const target : {"b.bmp", "b.gif", "b.jpg", "b.png", "b.tif", "b.heic"}) {
            runImageEngine(source, folder / target, 1.0, {});
            runImageEngine(folder / target, folder / "c.bmp", 1.0, {}); // with the profile that it carries
            const Colour shown = decodedByFfmpeg(folder / "c.bmp", 16, 16).at(8, 8);
            EXPECT_TRUE(near(shown, expected, 3))
                << name << " -> " << target << ": " << int(shown[0]) << ' ' << int(shown[1]) << ' '
                << int(shown[2]) << " instead of " << int(expected[0]) << ' ' << int(expected[1]) << ' '
                << int(expected[2]);
            for (const char *const made : {target, "c.bmp"})
                std::filesystem::remove(folder / made);
        }
    }
}

TEST(ImageColour, isNotGuessedWhereTheNumbersMeanNothingWithoutTheProfile)
{
    const TestFolder folder;
    for (const char *const name : {"XYB_Per", "scanner"}) {
        std::string profile = tableProfile("A2B0", name).bytes;
        profile.replace(profile.find("mft2"), 4, "????");
        const auto source = folder.write("a.png", pngBytes(16, muted, profile));
        const auto convert = [&] { runImageEngine(source, folder / (std::string(name) + ".bmp"), 1.0, {}); };
        if (std::string_view(name) == "XYB_Per")
            EXPECT_THROW(convert(), ConversionError);
        else
            EXPECT_NO_THROW(convert()); // as every viewer: without it
    }
}

} // namespace quorvalent::test
