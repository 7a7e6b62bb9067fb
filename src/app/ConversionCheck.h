#pragma once

namespace quorvalent {

/// Renames files of every family in a folder of its own while the running system watches it, and looks at
/// what becomes of them: one conversion each, and a refusal. Needs an event loop's thread; takes a few
/// seconds. Throws Error.
void checkConversions();

} // namespace quorvalent
