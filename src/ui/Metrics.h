#pragma once

#include <QSize>

/// Every length that a view or control uses, in logical pixels. A point of the type scale is one logical
/// pixel too, so that the surfaces of a given size hold their texts at every scale of the screen.
namespace quorvalent::metrics {

inline constexpr int cardRadius = 12;
inline constexpr int cardPadding = 18;
inline constexpr int cardSpacing = 14;

inline constexpr int popoverWidth = 340;
inline constexpr int popoverPadding = 20;
inline constexpr int popoverSpacing = 18;
inline constexpr int popoverRadius = 12;

inline constexpr QSize bannerSize(280, 44);
inline constexpr int bannerRadius = 9;
inline constexpr int bannerPadding = 12;
inline constexpr int bannerRowSpacing = 7;
inline constexpr int bannerSpacing = 5;
inline constexpr int bannerIcon = 16;
inline constexpr int bannerLine = 2;

inline constexpr QSize warningSize(340, 190);
inline constexpr int warningRadius = 12;
inline constexpr int warningPadding = 14;
inline constexpr int warningSpacing = 8;
inline constexpr int warningIcon = 18;
inline constexpr int warningLines = 5;
inline constexpr int warningButtonHeight = 28; ///< leaves room for those lines

inline constexpr int cornerMargin = 12;    ///< of banner and warning panel to the visible area's corner
inline constexpr int popoverMargin = 4;    ///< of the popover to the panel and to the visible area
inline constexpr int statusBarHeight = 24; ///< of a panel that nobody announces
inline constexpr int shadowMargin = 16;    ///< around a floating card, for its shadow

inline constexpr QSize settingsSize(820, 590);
inline constexpr QSize settingsLeast(320, 240);
inline constexpr int sidebarWidth = 245;
inline constexpr int symbolBarWidth = 64;  ///< of a sidebar that shows its symbols only
inline constexpr int symbolBarBelow = 720; ///< width of the window where the sidebar's names have no room
inline constexpr int symbolBarPadding = 10;
inline constexpr int sidebarPadding = 20;
inline constexpr int sidebarSpacing = 16;
inline constexpr int sidebarButtonGap = 4;
inline constexpr int sidebarIconFrame = 20;
inline constexpr int sidebarButtonX = 12;
inline constexpr int sidebarButtonY = 9;
inline constexpr int sidebarButtonRadius = 8;
inline constexpr int contentPadding = 30;
inline constexpr int narrowPadding = 10; ///< in the place of it beside a sidebar of symbols
inline constexpr int contentSpacing = 18;
inline constexpr int headerSpacing = 4;

inline constexpr int brandTile = 42;
inline constexpr int brandRadius = 12;
inline constexpr int brandIcon = 22;
inline constexpr int brandSpacing = 10;
inline constexpr int brandTextSpacing = 3;

inline constexpr int buttonHeight = 30;
inline constexpr int buttonPadding = 14;
inline constexpr int buttonPlainPadding = 6;
inline constexpr int buttonRadius = 8;
inline constexpr int buttonIconSpacing = 7;
inline constexpr int toggleWidth = 38;
inline constexpr int toggleHeight = 22;
inline constexpr int toggleInset = 2; ///< between the knob and the rim
inline constexpr int pickerWidth = 135;
inline constexpr int pickerWide = 190;
inline constexpr int pickerRow = 30;
inline constexpr int menuRadius = 9;
inline constexpr int menuPadding = 4;
inline constexpr int sliderTrack = 4;
inline constexpr int sliderKnob = 18;
inline constexpr int progressHeight = 4;
inline constexpr int tagPaddingX = 7;
inline constexpr int tagPaddingY = 2;
inline constexpr int tagRadius = 6;
inline constexpr int badgePaddingX = 12;
inline constexpr int badgePaddingY = 8;
inline constexpr int badgeRadius = 8;
inline constexpr int smallIcon = 16;
inline constexpr int rowIcon = 18;
inline constexpr int statusDot = 7;
inline constexpr int textGap = 3;   ///< between a title and its subtitle
inline constexpr int rowGap = 10;   ///< between the items of a row
inline constexpr int rowInsetX = 8; ///< around the content of a row that can be chosen
inline constexpr int rowInsetY = 6;
inline constexpr int rowRadius = 8;
inline constexpr int emptyFolderIcon = 36;
inline constexpr int emptyActivityIcon = 38;
inline constexpr int emptyTop = 90; ///< above the empty state of a whole section
inline constexpr int logo = 72;
inline constexpr int dialogWidth = 440;
inline constexpr int updateIcon = 22;
inline constexpr int updateNotesHeight = 160;
inline constexpr int formatName = 48;
inline constexpr int percentage = 52;
inline constexpr int sliderWidth = 230;
inline constexpr int scrollBar = 10;
inline constexpr int focusRing = 2; ///< width of the ring around the focused control
inline constexpr int focusGap = 1;  ///< between the ring and what it is around

} // namespace quorvalent::metrics
