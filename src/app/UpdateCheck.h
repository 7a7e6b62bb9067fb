#pragma once

namespace quorvalent {

/// This bundle asks for signed updates, the states of an update have their texts, and an installation waits
/// for conversions. On an event loop's thread. Throws CheckFailure.
void checkUpdates();

} // namespace quorvalent
