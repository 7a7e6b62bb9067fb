#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <vector>

namespace quorvalent::JournalFields {

/// One field after the other, each ended by NUL, the only byte besides the slash that no name holds.
[[nodiscard]] std::string joined(const std::vector<std::string> &fields);

/// The first `count` fields; nothing where there are fewer, as after a kill or a power cut.
[[nodiscard]] std::optional<std::vector<std::string>> split(const std::string &bytes, std::size_t count);

/// Whether the name stays in its folder.
[[nodiscard]] bool isPlainName(const std::string &name);

/// Whether the whole text is a number that `into` can hold.
template <typename Number>
[[nodiscard]] bool parse(const std::string &text, Number &into)
{
    const char *end = text.data() + text.size();
    const auto [stop, failure] = std::from_chars(text.data(), end, into);
    return failure == std::errc() && stop == end;
}

} // namespace quorvalent::JournalFields
