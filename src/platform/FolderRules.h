#pragma once

#include <filesystem>
#include <string_view>

namespace quorvalent::FolderRules {

/// An item that listings and watches leave out: its name begins with a dot.
[[nodiscard]] bool isHidden(std::string_view name);

/// A folder that its owner sees as one file, an application or a photo library for example. What is inside
/// belongs to a program, not to the person who watches the folder around it.
[[nodiscard]] bool isPackage(std::string_view name);

/// Whether a folder of this name, found inside a watched one, is listed and watched too.
[[nodiscard]] inline bool isDescendedInto(std::string_view name)
{
    return !isHidden(name) && !isPackage(name);
}

/// The path without doubled slashes, a slash at its end or "." parts, so that one place has one spelling.
/// Links and ".." stay as they are.
[[nodiscard]] std::filesystem::path tidied(const std::filesystem::path &path);

} // namespace quorvalent::FolderRules
