#pragma once

#include <QColor>
#include <QPalette>

class QWidget;

namespace quorvalent {

/// The part that a text plays, which decides its colour.
enum class Tone { Primary, Secondary, Accent, Orange, OnAccent };

/// The named colours of one appearance. There are two, and a widget's own palette tells which one it is drawn
/// in, so that nobody has to hand a theme around and a part of a window can be pictured in the other one.
struct Theme
{
    bool isDark;
    QColor accent;
    QColor onAccent; ///< text and marks on the accent colour
    QColor text;
    QColor readableSecondary; ///< dimmed text, still 4.5 : 1 on every surface
    QColor orange;            ///< waiting, refused, failed
    QColor window;
    QColor underPage; ///< behind the sidebar
    QColor card;
    QColor material; ///< of the floating cards; opaque, because nothing blurs what lies behind them
    QColor materialBorder;
    QColor shadow; ///< at its strongest
    QColor separator;
    QColor control; ///< face of buttons and pickers
    QColor controlHover;
    QColor controlPressed;
    QColor controlBorder;
    QColor bannerTrack;
    QColor progressTrack; ///< groove that stands out from what fills it
    QColor track;         ///< groove of switches and sliders, which stands out from its surface
    QColor knob;          ///< on the track
    QColor knobOnAccent;
    QColor focusRing; ///< on every surface but the accent colour, which onAccent is for

    [[nodiscard]] static const Theme &light();
    [[nodiscard]] static const Theme &dark();
    [[nodiscard]] static const Theme &of(const QWidget &widget);
    /// The appearance that a palette of unknown origin belongs to.
    [[nodiscard]] static bool isDarkPalette(const QPalette &palette);

    [[nodiscard]] const QColor &tone(Tone tone) const;
    /// The accent colour as a tint behind something.
    [[nodiscard]] QColor accentTint(double opacity) const;
    /// What Qt's own widgets, dialogs and menus are painted with.
    [[nodiscard]] QPalette palette() const;
};

/// How strongly a control shows that it cannot be used.
inline constexpr double disabledOpacity = 0.42;

} // namespace quorvalent
