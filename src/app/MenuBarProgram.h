#pragma once

#include <filesystem>

namespace quorvalent {

/// Runs the menu-bar program until it ends; returns the exit status. When a copy runs already, that one shows
/// its settings window, and this one ends at once.
[[nodiscard]] int runMenuBarProgram(int argc, char **argv);

/// Has one of RenderPictures' functions write to that path; returns the exit status. Needs no display.
[[nodiscard]] int renderPictures(int argc, char **argv, bool (*render)(const std::filesystem::path &),
                                 const std::filesystem::path &output);

} // namespace quorvalent
