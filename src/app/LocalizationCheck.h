#pragma once

namespace quorvalent {

/// The catalogue and the help pages of this bundle are whole, and messages come out in every language.
/// Throws CheckFailure.
void checkLocalization();

} // namespace quorvalent
