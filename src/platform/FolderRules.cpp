#include "platform/FolderRules.h"

#include <algorithm>
#include <array>

namespace quorvalent::FolderRules {

namespace {

using namespace std::string_view_literals;

// The folder types that media programs write and the ones that travel from other systems on a shared disk.
constexpr std::array packageExtensions = {
    "app"sv,
    "appex"sv,
    "aplibrary"sv,
    "band"sv,
    "bundle"sv,
    "fcpbundle"sv,
    "framework"sv,
    "imovielibrary"sv,
    "kext"sv,
    "logicx"sv,
    "lrdata"sv,
    "lrlibrary"sv,
    "migratedphotolibrary"sv,
    "musiclibrary"sv,
    "photolibrary"sv,
    "photoslibrary"sv,
    "playground"sv,
    "plugin"sv,
    "prefpane"sv,
    "rtfd"sv,
    "sparsebundle"sv,
    "theater"sv,
    "tvlibrary"sv,
    "xcodeproj"sv,
    "xcworkspace"sv,
};

bool equalsIgnoringCase(std::string_view text, std::string_view lower)
{
    const auto lowered = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(text, lower, {}, lowered);
}

} // namespace

bool isHidden(std::string_view name)
{
    return name.starts_with('.');
}

bool isPackage(std::string_view name)
{
    const std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return false;
    const std::string_view extension = name.substr(dot + 1);
    return std::ranges::any_of(packageExtensions,
                               [&](std::string_view known) { return equalsIgnoringCase(extension, known); });
}

std::filesystem::path tidied(const std::filesystem::path &path)
{
    std::filesystem::path result;
    for (const std::filesystem::path &part : path) {
        if (!part.empty() && part != ".")
            result /= part;
    }
    return result.empty() && !path.empty() ? std::filesystem::path(".") : result;
}

} // namespace quorvalent::FolderRules
