#include "support/Profiles.h"

#include <QByteArray>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace quorvalent::test {

namespace {

constexpr Triple white{0.9642, 1, 0.8249};
// From X, Y, Z against D50 to linear red, green and blue of sRGB.
constexpr std::array<Triple, 3> toSrgb{Triple{3.1338561, -1.6168667, -0.4906146},
                                       Triple{-0.9787684, 1.9161415, 0.0334540},
                                       Triple{0.0719453, -0.2289914, 1.4052427}};

std::string big(std::uint32_t value, int bytes = 4)
{
    std::string text;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        text += static_cast<char>(value >> shift);
    return text;
}

std::string fixed(double value)
{
    return big(static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(value * 65536))));
}

std::string xyzTag(const Triple &xyz)
{
    return "XYZ " + big(0) + fixed(xyz[0]) + fixed(xyz[1]) + fixed(xyz[2]);
}

struct Tag
{
    std::string name, content;
};

std::string profileOf(const std::string &colours, const std::string &connection, std::vector<Tag> tags,
                      const std::string &name)
{
    tags.push_back({"desc", "desc" + big(0) + big(static_cast<std::uint32_t>(name.size() + 1)) + name +
                                std::string(80, '\0')});
    tags.push_back({"cprt", "text" + big(0) + std::string("none\0", 5)});
    tags.push_back({"wtpt", xyzTag(white)});
    std::string table = big(static_cast<std::uint32_t>(tags.size()));
    std::string body;
    for (Tag &tag : tags) {
        tag.content.resize((tag.content.size() + 3) / 4 * 4);
        table += tag.name + big(static_cast<std::uint32_t>(132 + 12 * tags.size() + body.size())) +
                 big(static_cast<std::uint32_t>(tag.content.size()));
        body += tag.content;
    }
    std::string head = big(static_cast<std::uint32_t>(128 + table.size() + body.size())) + "lcms" +
                       big(0x02400000) + "scnr" + colours + connection + std::string(12, '\1') + "acsp";
    head += std::string(28, '\0') + fixed(white[0]) + fixed(white[1]) + fixed(white[2]);
    head.resize(128);
    return head + table + body;
}

std::string curveTag(double gamma)
{
    return "curv" + big(0) + big(1) + big(static_cast<std::uint32_t>(std::lround(gamma * 256)), 2);
}

double encoded(double linear)
{
    const double c = std::clamp(linear, 0.0, 1.0);
    return c <= 0.0031308 ? c * 12.92 : 1.055 * std::pow(c, 1 / 2.4) - 0.055;
}

double linearOf(double c)
{
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
}

Triple times(const std::array<Triple, 3> &columns, const Triple &v)
{
    Triple result{};
    for (std::size_t row = 0; row < 3; ++row)
        for (std::size_t column = 0; column < 3; ++column)
            result.at(row) += columns.at(column).at(row) * v.at(column);
    return result;
}

Triple meaningOfRotated(const Triple &c)
{
    return times(srgbPrimaries, {linearOf(c[1]), linearOf(c[2]), linearOf(c[0])});
}

// Lab as a table of 16 bits holds it.
std::string labEntry(const Triple &xyz)
{
    const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116; };
    const double x = f(xyz[0] / white[0]);
    const double y = f(xyz[1] / white[1]);
    const double z = f(xyz[2] / white[2]);
    const auto number = [](double value) {
        return big(static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 65535.0))), 2);
    };
    return number((116 * y - 16) * 652.8) + number((500 * (x - y) + 128) * 256) +
           number((200 * (y - z) + 128) * 256);
}

std::string chunk(const std::string &name, const std::string &content)
{
    const std::string checked = name + content;
    std::uint32_t crc = 0xFFFFFFFF;
    for (const char byte : checked) {
        crc ^= static_cast<std::uint8_t>(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0);
    }
    return big(static_cast<std::uint32_t>(content.size())) + checked + big(~crc);
}

std::string zlib(const std::string &bytes)
{
    return qCompress(QByteArray::fromStdString(bytes)).mid(4).toStdString(); // without Qt's length in front
}

} // namespace

const std::array<Triple, 3> srgbPrimaries{Triple{0.4360747, 0.2225045, 0.0139322},
                                          Triple{0.3850649, 0.7168786, 0.0971045},
                                          Triple{0.1430804, 0.0606169, 0.7141733}};

Profile matrixProfile(const std::array<Triple, 3> &primaries, double gamma)
{
    const std::string curve = curveTag(gamma);
    return {
        profileOf("RGB ", "XYZ ",
                  {{"rXYZ", xyzTag(primaries[0])},
                   {"gXYZ", xyzTag(primaries[1])},
                   {"bXYZ", xyzTag(primaries[2])},
                   {"rTRC", curve},
                   {"gTRC", curve},
                   {"bTRC", curve}},
                  "matrix"),
        [=](const Triple &c) {
            return times(primaries, {std::pow(c[0], gamma), std::pow(c[1], gamma), std::pow(c[2], gamma)});
        }};
}

Profile greyProfile(double gamma)
{
    return {profileOf("GRAY", "XYZ ", {{"kTRC", curveTag(gamma)}}, "grey"), [=](const Triple &c) {
                const double y = std::pow(c[0], gamma);
                return Triple{white[0] * y, y, white[2] * y};
            }};
}

Profile tableProfile(const std::string &tag, const std::string &name)
{
    constexpr int points = 17;
    std::string table = "mft2" + big(0) + std::string("\3\3\x11\0", 4);
    for (const double cell : {1, 0, 0, 0, 1, 0, 0, 0, 1})
        table += fixed(cell);
    const std::string straight = big(65535);
    table += big(0x00020002) + straight + straight + straight;
    for (int i = 0; i < points * points * points; ++i)
        table +=
            labEntry(meaningOfRotated({i / (points * points) / (points - 1.0),
                                       i / points % points / (points - 1.0), i % points / (points - 1.0)}));
    table += straight + straight + straight;
    return {profileOf("RGB ", "Lab ", {{tag, table}}, name), &meaningOfRotated};
}

Triple asSrgb(Triple xyz)
{
    Triple result{};
    for (std::size_t row = 0; row < 3; ++row)
        result.at(row) =
            encoded(toSrgb.at(row)[0] * xyz[0] + toSrgb.at(row)[1] * xyz[1] + toSrgb.at(row)[2] * xyz[2]);
    return result;
}

std::string pngBytes(int side, Triple colour, const std::string &profile)
{
    const bool isGrey = profile.substr(16, 4) == "GRAY";
    std::string pixel;
    for (std::size_t i = 0; i < (isGrey ? 1U : 3U); ++i)
        pixel += static_cast<char>(std::lround(colour.at(i) * 255));
    std::string rows;
    for (int y = 0; y < side; ++y) {
        rows += '\0';
        for (int x = 0; x < side; ++x)
            rows += pixel;
    }
    const std::string size = big(static_cast<std::uint32_t>(side));
    return "\x89PNG\r\n\x1a\n" +
           chunk("IHDR", size + size + std::string(isGrey ? "\x8\0\0\0\0" : "\x8\2\0\0\0", 5)) +
           chunk("iCCP", std::string("p\0\0", 3) + zlib(profile)) + chunk("IDAT", zlib(rows)) +
           chunk("IEND", "");
}

} // namespace quorvalent::test
