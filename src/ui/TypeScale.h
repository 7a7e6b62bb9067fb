#pragma once

#include <QFont>
#include <QString>

namespace quorvalent {

/// The sizes and weights of the system font that the program uses. Sizes are logical pixels.
enum class TextStyle {
    Tiny,            ///< 10 medium
    Small,           ///< 12
    Secondary,       ///< 13
    SecondaryMedium, ///< 13 medium
    SecondaryMono,   ///< 13 of the fixed-width font
    Body,            ///< 14
    BodySemibold,    ///< 14 semibold
    BodyMono,        ///< 14 semibold of the fixed-width font
    Heading,         ///< 15 semibold
    SidebarItem,     ///< 15
    Title,           ///< 18 semibold
    PageTitle,       ///< 27 semibold
};

/// A font that settles only what the style says: its family stays the application's.
[[nodiscard]] QFont fontOf(TextStyle style);

/// The application's font for texts of this language: the system's, with the family that draws the language's
/// own forms behind it, because Chinese, Japanese and Korean share code points that they write differently.
[[nodiscard]] QFont applicationFont(const QFont &systemFont, const QString &languageCode);

} // namespace quorvalent
