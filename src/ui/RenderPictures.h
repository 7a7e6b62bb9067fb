#pragma once

#include <filesystem>

namespace quorvalent {

/// Pictures of the views with sample content, at two device pixels to a point, in the language of the
/// environment. They touch nothing of the user's and need no display. False when a picture cannot be written.
namespace RenderPictures {

[[nodiscard]] bool banner(const std::filesystem::path &file);
[[nodiscard]] bool warning(const std::filesystem::path &file);
/// Every view in every state, light and dark, each in a file of its own in the folder, which is made.
[[nodiscard]] bool everything(const std::filesystem::path &folder);

} // namespace RenderPictures

} // namespace quorvalent
