#pragma once

namespace quorvalent {

/// Tells assistive technology what the windows and controls of our own are, as Qt cannot know it: what a
/// window is for, that cards group, that the banner is read as one thing, and which pictures mean something.
/// Call it once, before the first window.
void describeToAssistiveTechnology();

} // namespace quorvalent
