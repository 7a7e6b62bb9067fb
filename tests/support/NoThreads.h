#pragma once

namespace quorvalent::test {

/// From now on, the system refuses this process and what it starts any more threads, as at the limit of a
/// user's processes. Cannot be undone; for a process of a test's own, between fork and exec too.
void refuseThreads();

} // namespace quorvalent::test
