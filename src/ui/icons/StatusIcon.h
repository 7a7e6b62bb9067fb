#pragma once

#include <QIcon>

namespace quorvalent {

/// What the status item shows at a glance.
enum class StatusState { Idle, Working, Paused };

/// The status item's icon. The desktop's copy of the symbolic drawing, which panels recolour, where it is
/// installed; else a drawing that can be read on light and dark panels alike.
[[nodiscard]] QIcon statusIcon(StatusState state);

} // namespace quorvalent
