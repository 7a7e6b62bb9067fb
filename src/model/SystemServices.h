#pragma once

#include "model/ModelServices.h"

namespace quorvalent {

/// The services of the running system: the rename watcher, the conversion driver, Qt's threads and timers.
[[nodiscard]] ModelServices systemServices();

} // namespace quorvalent
