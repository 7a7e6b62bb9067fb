#include "ui/TypeScale.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QStringList>

#include <array>

namespace quorvalent {

namespace {

struct Style
{
    int pixels;
    QFont::Weight weight = QFont::Normal;
    bool fixedWidth = false;
};

Style styleOf(TextStyle style)
{
    switch (style) {
    case TextStyle::Tiny:
        return {10, QFont::Medium};
    case TextStyle::Small:
        return {12};
    case TextStyle::Secondary:
        return {13};
    case TextStyle::SecondaryMedium:
        return {13, QFont::Medium};
    case TextStyle::SecondaryMono:
        return {13, QFont::Normal, true};
    case TextStyle::Body:
        return {14};
    case TextStyle::BodySemibold:
        return {14, QFont::DemiBold};
    case TextStyle::BodyMono:
        return {14, QFont::DemiBold, true};
    case TextStyle::Heading:
        return {15, QFont::DemiBold};
    case TextStyle::SidebarItem:
        return {15};
    case TextStyle::Title:
        return {18, QFont::DemiBold};
    case TextStyle::PageTitle:
        return {27, QFont::DemiBold};
    }
    Q_UNREACHABLE();
}

struct Script
{
    QLatin1String language;
    QLatin1String family;
};

constexpr std::array scripts{
    Script{QLatin1String("zh-Hans"), QLatin1String("Noto Sans CJK SC")},
    Script{QLatin1String("ja"), QLatin1String("Noto Sans CJK JP")},
    Script{QLatin1String("ko"), QLatin1String("Noto Sans CJK KR")},
    Script{QLatin1String("hi"), QLatin1String("Noto Sans Devanagari")},
    Script{QLatin1String("km"), QLatin1String("Noto Sans Khmer")},
};

// For languages of some scripts, Khmer for one, the system's fixed-width font is one of that script, whose
// Latin letters have widths of their own.
QStringList fixedWidthFamilies()
{
    const QFont systemFont = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    const QFontMetricsF metrics(systemFont);
    QStringList families = systemFont.families();
    if (!qFuzzyCompare(metrics.horizontalAdvance(u'i'), metrics.horizontalAdvance(u'M')))
        families = QStringList{QLatin1String("Noto Sans Mono"), QLatin1String("DejaVu Sans Mono")} + families;
    return families;
}

} // namespace

QFont fontOf(TextStyle style)
{
    const Style wanted = styleOf(style);
    QFont font;
    if (wanted.fixedWidth)
        font.setFamilies(fixedWidthFamilies());
    font.setPixelSize(wanted.pixels);
    font.setWeight(wanted.weight);
    return font;
}

QFont applicationFont(const QFont &systemFont, const QString &languageCode)
{
    QFont font = systemFont;
    QStringList families = systemFont.families();
    for (const Script &script : scripts) {
        if (script.language == languageCode)
            families.append(script.family);
    }
    font.setFamilies(families);
    return font;
}

} // namespace quorvalent
