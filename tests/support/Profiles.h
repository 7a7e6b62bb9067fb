#pragma once

#include <array>
#include <functional>
#include <string>

namespace quorvalent::test {

/// Red, green and blue, or X, Y and Z, mostly 0 to 1.
using Triple = std::array<double, 3>;

/// Colour profiles of our own, small and by the formulas of the ICC alone: a second opinion on what a library
/// makes of such a profile.
struct Profile
{
    std::string bytes;
    /// What the numbers of the device mean: X, Y, Z against the profile connection space's white.
    std::function<Triple(Triple)> meaning;
};

/// Three primaries, as columns, and one gamma.
[[nodiscard]] Profile matrixProfile(const std::array<Triple, 3> &primaries, double gamma);
/// One channel: of the three numbers, the first counts.
[[nodiscard]] Profile greyProfile(double gamma);
/// A scanner's table for one intent alone ("A2B0" perceptual, "A2B2" saturation): its red, green and blue are
/// the green, blue and red of sRGB, so that the numbers mean nothing without it.
[[nodiscard]] Profile tableProfile(const std::string &tag, const std::string &name);

extern const std::array<Triple, 3> srgbPrimaries;
/// sRGB's numbers of a colour.
[[nodiscard]] Triple asSrgb(Triple xyz);

/// A PNG file of one colour, 8 bits a channel, with the profile; grey where the profile is.
[[nodiscard]] std::string pngBytes(int side, Triple colour, const std::string &profile);

} // namespace quorvalent::test
