#pragma once

#include <filesystem>

namespace quorvalent {

/// Gives the converted sound `result` what is written on `source`: titles, artists, numbers, dates, lyrics,
/// cover pictures, loudness notes, and whatever else its format has a place for. The samples are not touched.
/// Tags that describe the old encoding are left behind; so is a tag that is broken, or with which the result
/// would no longer read as before: then `result` stays as it was. Never throws. `result` must be a file that
/// nobody else uses; while this works, a second file lies beside it.
void carryAudioTags(const std::filesystem::path &source, const std::filesystem::path &result) noexcept;

} // namespace quorvalent
