#include "ui/Theme.h"

#include <QWidget>

namespace quorvalent {

namespace {

// Half of the lightness range: the palettes of the two appearances lie far on either side of it.
constexpr int darkBelow = 128;

QColor black(double opacity)
{
    return QColor::fromRgbF(0, 0, 0, static_cast<float>(opacity));
}

QColor white(double opacity)
{
    return QColor::fromRgbF(1, 1, 1, static_cast<float>(opacity));
}

QColor withOpacity(QColor colour, double opacity)
{
    colour.setAlphaF(static_cast<float>(opacity));
    return colour;
}

Theme makeLight()
{
    const QColor accent = QColor::fromRgbF(0.04F, 0.40F, 0.30F);
    return Theme{
        .isDark = false,
        .accent = accent,
        .onAccent = Qt::white,
        .text = QColor(0x1a, 0x1f, 0x1d),
        .readableSecondary = QColor(0x59, 0x62, 0x5f),
        .orange = QColor(0xb6, 0x4d, 0x06),
        .window = QColor(0xf5, 0xf6, 0xf5),
        .underPage = QColor(0xe9, 0xec, 0xea),
        .card = Qt::white,
        .material = QColor(0xfb, 0xfc, 0xfb),
        .materialBorder = black(0.13),
        .shadow = black(0.20),
        .separator = black(0.10),
        .control = Qt::white,
        .controlHover = QColor(0xf6, 0xf8, 0xf7),
        .controlPressed = QColor(0xe6, 0xea, 0xe8),
        .controlBorder = QColor(0x82, 0x8a, 0x86),
        .bannerTrack = black(0.10), // white would not be seen on the light material
        .progressTrack = QColor(0xd3, 0xd9, 0xd6),
        .track = QColor(0x82, 0x8a, 0x86),
        .knob = Qt::white,
        .knobOnAccent = Qt::white,
        .focusRing = accent,
    };
}

Theme makeDark()
{
    const QColor accent = QColor::fromRgbF(0.34F, 0.80F, 0.65F);
    return Theme{
        .isDark = true,
        .accent = accent,
        .onAccent = QColor(0x06, 0x22, 0x1a),
        .text = QColor(0xec, 0xf0, 0xee),
        .readableSecondary = QColor(0xa6, 0xb1, 0xac),
        .orange = QColor(0xff, 0xa2, 0x4a),
        .window = QColor(0x1d, 0x20, 0x1f),
        .underPage = QColor(0x16, 0x19, 0x18),
        .card = QColor(0x29, 0x2d, 0x2b),
        .material = QColor(0x25, 0x29, 0x27),
        .materialBorder = white(0.16),
        .shadow = black(0.46),
        .separator = white(0.11),
        .control = QColor(0x3b, 0x41, 0x3e),
        .controlHover = QColor(0x44, 0x4b, 0x48),
        .controlPressed = QColor(0x30, 0x35, 0x33),
        .controlBorder = QColor(0x7a, 0x82, 0x7e),
        .bannerTrack = white(0.10),
        .progressTrack = QColor(0x4c, 0x54, 0x50),
        .track = QColor(0x7a, 0x82, 0x7e),
        .knob = QColor(0xf4, 0xf7, 0xf5),
        .knobOnAccent = QColor(0x06, 0x22, 0x1a),
        .focusRing = accent,
    };
}

} // namespace

const Theme &Theme::light()
{
    static const Theme theme = makeLight();
    return theme;
}

const Theme &Theme::dark()
{
    static const Theme theme = makeDark();
    return theme;
}

bool Theme::isDarkPalette(const QPalette &palette)
{
    return palette.color(QPalette::Window).lightness() < darkBelow;
}

const Theme &Theme::of(const QWidget &widget)
{
    return isDarkPalette(widget.palette()) ? dark() : light();
}

const QColor &Theme::tone(Tone tone) const
{
    switch (tone) {
    case Tone::Primary:
        return text;
    case Tone::Secondary:
        return readableSecondary;
    case Tone::Accent:
        return accent;
    case Tone::Orange:
        return orange;
    case Tone::OnAccent:
        return onAccent;
    }
    Q_UNREACHABLE();
}

QColor Theme::accentTint(double opacity) const
{
    return withOpacity(accent, opacity);
}

QPalette Theme::palette() const
{
    QPalette palette(control, window);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, card);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, control);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::ToolTipBase, card);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::PlaceholderText, readableSecondary);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, onAccent);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::LinkVisited, accent);
    const QColor dimmed = withOpacity(text, disabledOpacity);
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, dimmed);
    return palette;
}

} // namespace quorvalent
