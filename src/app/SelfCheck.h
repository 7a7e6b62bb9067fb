#pragma once

#include "app/LaunchMode.h"

namespace quorvalent {

/// Runs the built-in checks of a launch mode and returns the exit status: 0 when all hold. UpdateTest and
/// LocalizationTest print a failure on standard output, SelfTest on standard error.
[[nodiscard]] int runChecks(LaunchMode::Action action);

} // namespace quorvalent
