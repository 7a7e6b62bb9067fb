#include "media/image/Colour.h"

#include <algorithm>
#include <vector>

namespace quorvalent {

using vips::VError;
using vips::VImage;

namespace {

int colourChannels(const VImage &image)
{
    switch (image.interpretation()) {
    case VIPS_INTERPRETATION_B_W:
    case VIPS_INTERPRETATION_GREY16:
        return 1;
    case VIPS_INTERPRETATION_CMYK:
        return 4;
    default:
        return 3;
    }
}

bool isCmyk(const VImage &image)
{
    return image.interpretation() == VIPS_INTERPRETATION_CMYK && image.bands() >= 4;
}

bool hasAlpha(const VImage &image)
{
    return image.bands() > colourChannels(image);
}

VImage to8Bits(const VImage &image)
{
    return image.format() == VIPS_FORMAT_USHORT
               ? image.cast(VIPS_FORMAT_UCHAR, VImage::option()->set("shift", true))
               : image.cast(VIPS_FORMAT_UCHAR);
}

VImage to16Bits(const VImage &image)
{
    switch (image.format()) {
    case VIPS_FORMAT_UINT:
        return (image / 65536.0).cast(VIPS_FORMAT_USHORT);
    case VIPS_FORMAT_CHAR:
    case VIPS_FORMAT_SHORT:
    case VIPS_FORMAT_INT:
        return image.cast(VIPS_FORMAT_USHORT);
    default:
        // Floating-point pixels run from 0 to 1.
        return (image * 65535.0).cast(VIPS_FORMAT_USHORT);
    }
}

// 8 or 16 bits unsigned, grey, RGB or CMYK, with at most one channel more.
VImage ordinary(const VImage &source)
{
    VImage image = source;
    if (image.interpretation() == VIPS_INTERPRETATION_LAB ||
        image.interpretation() == VIPS_INTERPRETATION_LABS ||
        image.interpretation() == VIPS_INTERPRETATION_LABQ ||
        image.interpretation() == VIPS_INTERPRETATION_XYZ ||
        image.interpretation() == VIPS_INTERPRETATION_scRGB) {
        image = image.colourspace(image.format() == VIPS_FORMAT_UCHAR ? VIPS_INTERPRETATION_sRGB
                                                                      : VIPS_INTERPRETATION_RGB16);
        image.remove(VIPS_META_ICC_NAME); // it described the old channels
    }
    if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT)
        image = to16Bits(image);
    const bool deep = image.format() == VIPS_FORMAT_USHORT;
    if (!isCmyk(image)) {
        const bool grey = image.bands() < 3;
        const VipsInterpretation greyKind = deep ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_B_W;
        const VipsInterpretation rgbKind = deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB;
        image = image.copy(VImage::option()->set("interpretation", grey ? greyKind : rgbKind));
    }
    const int most = colourChannels(image) + 1;
    return image.bands() > most ? image.extract_band(0, VImage::option()->set("n", most)) : image;
}

VImage intoSrgbBy(VipsIntent intent, const VImage &image, bool isEmbedded, bool deep)
{
    vips::VOption *options = VImage::option()
                                 ->set("intent", intent)
                                 ->set("black_point_compensation", intent == VIPS_INTENT_RELATIVE)
                                 ->set("depth", deep ? 16 : 8);
    if (isEmbedded)
        options->set("embedded", true);
    else
        options->set("input_profile", isCmyk(image) ? "cmyk" : "srgb");
    return image.icc_transform("srgb", options)
        .copy(VImage::option()->set("interpretation",
                                    deep ? VIPS_INTERPRETATION_RGB16 : VIPS_INTERPRETATION_sRGB));
}

// Bytes 64 to 67 of a profile.
VipsIntent ownIntent(const QByteArray &profile)
{
    constexpr qsizetype place = 67;
    return static_cast<VipsIntent>(
        std::clamp<int>(profile.at(place), VIPS_INTENT_PERCEPTUAL, VIPS_INTENT_ABSOLUTE));
}

// libvips takes another profile in silence where it cannot use the image's, and then says so by the one that
// it leaves on the result; a single pixel shows it.
bool isUsable(const VImage &image, const QByteArray &profile, VipsIntent intent)
{
    VImage pixel = VImage::black(1, 1, VImage::option()->set("bands", colourChannels(image)))
                       .cast(VIPS_FORMAT_UCHAR)
                       .copy(VImage::option()->set("interpretation", image.interpretation()));
    vips_image_set_blob_copy(pixel.get_image(), VIPS_META_ICC_NAME, profile.constData(),
                             static_cast<std::size_t>(profile.size()));
    try {
        return blobOf(pixel.icc_import(VImage::option()->set("embedded", true)->set("intent", intent)),
                      VIPS_META_ICC_NAME) == profile;
    } catch (const VError &) {
        forgetVipsError();
        return false;
    }
}

// By the profile of the image, or as if it had libvips' own. A profile of tables need not have one for every
// intent. Throws VError where it has none that can be read.
VImage intoSrgb(const VImage &image, bool deep)
{
    const QByteArray profile = profileOf(image);
    if (profile.isEmpty())
        return intoSrgbBy(VIPS_INTENT_RELATIVE, image, false, deep);
    for (const VipsIntent intent :
         {VIPS_INTENT_RELATIVE, VIPS_INTENT_PERCEPTUAL, ownIntent(profile), VIPS_INTENT_SATURATION}) {
        if (isUsable(image, profile, intent))
            return intoSrgbBy(intent, image, true, deep);
    }
    throw VError();
}

// Whether the numbers mean nothing without their profile: those of jpegli's XYB, by the profile's name, and
// those of another colour space than that of the channels.
bool isMeaninglessWithoutProfile(const VImage &image)
{
    const QByteArray profile = blobOf(image, VIPS_META_ICC_NAME);
    return profile.contains("XYB") || profile.contains(QByteArrayView("X\0Y\0B", 5)) ||
           (profile.size() >= 128 && QByteArrayView(profile).sliced(16, 4) == QByteArrayView("Lab "));
}

// What the profile makes of a few colours, against the colours themselves.
bool profileIsSrgb(const VImage &image)
{
    const int channels = colourChannels(image);
    std::vector<unsigned char> patches;
    const unsigned steps = 6;
    for (unsigned i = 0; i < (channels == 1 ? steps : steps * steps * steps); ++i) {
        patches.push_back(static_cast<unsigned char>(i % steps * 51));
        if (channels == 3) {
            patches.push_back(static_cast<unsigned char>(i / steps % steps * 51));
            patches.push_back(static_cast<unsigned char>(i / (steps * steps) * 51));
        }
    }
    const int width = static_cast<int>(patches.size()) / channels;
    VImage chart =
        VImage::new_from_memory(patches.data(), patches.size(), width, 1, channels, VIPS_FORMAT_UCHAR)
            .copy(VImage::option()->set("interpretation",
                                        channels == 1 ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB));
    const QByteArray profile = profileOf(image);
    vips_image_set_blob_copy(chart.get_image(), VIPS_META_ICC_NAME, profile.constData(),
                             static_cast<std::size_t>(profile.size()));
    constexpr double roundingOfTwoTables = 3.0;
    return (intoSrgb(chart, false) - chart).abs().max() <= roundingOfTwoTables;
}

} // namespace

QByteArray profileOf(const VImage &image)
{
    QByteArray profile = blobOf(image, VIPS_META_ICC_NAME);
    // Bytes 16 to 19 of a profile name its colour space.
    const QByteArrayView expected(colourChannels(image) == 1 ? "GRAY" : isCmyk(image) ? "CMYK" : "RGB ");
    if (profile.size() < 128 || QByteArrayView(profile).sliced(16, 4) != expected)
        return {};
    return profile;
}

VImage fitted(const VImage &source, const PixelLimits &limits)
{
    VImage image = ordinary(source.copy());
    if (profileOf(image).isEmpty()) {
        if (!isCmyk(image) && isMeaninglessWithoutProfile(image))
            throw ImageProfileError();
        image.remove(VIPS_META_ICC_NAME);
    }
    const bool profiled = vips_image_get_typeof(image.get_image(), VIPS_META_ICC_NAME) != 0;
    const bool deep = image.format() == VIPS_FORMAT_USHORT && limits.bits > 8;
    const bool otherColours = isCmyk(image) ? !limits.cmyk : profiled && !limits.profile;
    if (otherColours) {
        try {
            // In its own depth, because libvips clips the alpha of 16 bits where the result has 8.
            image = intoSrgb(image, image.format() == VIPS_FORMAT_USHORT);
        } catch (const VError &) {
            // A profile that nobody can read: as every viewer, go on without it where that shows something.
            forgetVipsError();
            if (isMeaninglessWithoutProfile(image))
                throw ImageProfileError();
            image = image.copy();
            image.remove(VIPS_META_ICC_NAME);
            if (isCmyk(image))
                image = intoSrgb(image, image.format() == VIPS_FORMAT_USHORT);
        }
    }
    if (!deep && image.format() == VIPS_FORMAT_USHORT) {
        const VipsInterpretation kind = isCmyk(image)                ? VIPS_INTERPRETATION_CMYK
                                        : colourChannels(image) == 1 ? VIPS_INTERPRETATION_B_W
                                                                     : VIPS_INTERPRETATION_sRGB;
        image = to8Bits(image).copy(VImage::option()->set("interpretation", kind));
    }
    if (hasAlpha(image) && !limits.alpha) {
        const double white = image.format() == VIPS_FORMAT_USHORT ? 65535.0 : 255.0;
        const std::vector<double> background{isCmyk(image) ? 0.0 : white};
        image = image.flatten(VImage::option()->set("background", background)->set("max_alpha", white));
    }
    return image;
}

bool showsAsSrgb(const VImage &image)
{
    if (image.format() != VIPS_FORMAT_UCHAR || isCmyk(image) ||
        (image.interpretation() != VIPS_INTERPRETATION_sRGB &&
         image.interpretation() != VIPS_INTERPRETATION_B_W))
        return false;
    try {
        return profileOf(image).isEmpty() || profileIsSrgb(image);
    } catch (const VError &) {
        forgetVipsError();
        return !isMeaninglessWithoutProfile(image); // any other unreadable profile changes nothing
    }
}

void attachBuiltInProfile(const VImage &image, const char *name)
{
    VipsBlob *profile = nullptr;
    if (vips_profile_load(name, &profile, nullptr) != 0 || profile == nullptr) {
        forgetVipsError();
        return;
    }
    std::size_t length = 0;
    const void *bytes = vips_blob_get(profile, &length);
    vips_image_set_blob_copy(image.get_image(), VIPS_META_ICC_NAME, bytes, length);
    vips_area_unref(VIPS_AREA(profile));
}

} // namespace quorvalent
