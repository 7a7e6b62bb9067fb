#pragma once

#include "model/AppModel.h"

class QWidget;

namespace quorvalent {

/// Shows the question above the window, waits, and says whether the user agreed. Esc and closing refuse.
[[nodiscard]] bool askConsent(QWidget *window, const ConsentQuestion &question);

} // namespace quorvalent
