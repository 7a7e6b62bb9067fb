#pragma once

#include <QColor>
#include <QPixmap>
#include <QRectF>

class QPainter;

namespace quorvalent {

/// The program's symbols: drawings on one 24-unit grid with one stroke weight, which take the colour they are
/// painted with.
enum class Symbol {
    ArrowDownCircle,
    ArrowRight,
    Checkmark,
    CheckmarkBubbleFill,
    CheckmarkCircle,
    CheckmarkCircleFill,
    Chevrons,
    ClockArrow,
    ConvertArrows,
    ExclamationCircle,
    ExclamationCircleFill,
    ExclamationShieldFill,
    Film,
    Folder,
    FolderBadgePlus,
    FolderFill,
    InfoCircle,
    LockShield,
    MinusCircle,
    Photo,
    PhotoFill,
    Plus,
    Sliders,
    Sparkle,
    Waveform,
};

enum class SymbolWeight { Regular, Semibold };

/// The symbol in a square of `size` logical pixels, sharp at the given ratio of device pixels to them.
[[nodiscard]] QPixmap symbolPixmap(Symbol symbol, double size, const QColor &colour, double ratio,
                                   SymbolWeight weight = SymbolWeight::Regular);

/// Fills the middle of `place` with the symbol, as large as fits, on whole device pixels.
void paintSymbol(QPainter &painter, Symbol symbol, const QRectF &place, const QColor &colour,
                 SymbolWeight weight = SymbolWeight::Regular);

} // namespace quorvalent
