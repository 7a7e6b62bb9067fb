#pragma once

#include <QIcon>

namespace quorvalent {

/// What the status item shows at a glance.
enum class StatusState { Idle, Working, Paused, Attention };

/// The status item's icon: the symbolic drawing where it is installed and the panel shows icons by name and
/// in its own colours, else a picture that can be read on light and dark panels alike.
[[nodiscard]] QIcon statusIcon(StatusState state);

} // namespace quorvalent
