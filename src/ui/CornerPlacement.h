#pragma once

namespace quorvalent {

class FloatingCard;

/// Shows the card in the top right corner of the visible area of the screen that holds the pointer; where
/// there is no screen, where it is.
void showInCorner(FloatingCard &card);

} // namespace quorvalent
