#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>

namespace quorvalent::test {

/// A folder of this process's own below $TMPDIR, where each input of a fuzzer becomes a file. What a crash
/// leaves behind goes with $TMPDIR.
class FuzzFolder
{
public:
    FuzzFolder();
    ~FuzzFolder();
    FuzzFolder(const FuzzFolder &) = delete;
    FuzzFolder &operator=(const FuzzFolder &) = delete;

    [[nodiscard]] std::filesystem::path operator/(const char *name) const { return m_path / name; }

    /// The input as the file "source"; everything else in the folder is removed.
    [[nodiscard]] std::filesystem::path hold(std::span<const std::uint8_t> input) const;

    [[nodiscard]] std::size_t entries() const;

private:
    std::filesystem::path m_path;
};

/// Throws std::logic_error, which ends a fuzzer and fails a test.
[[noreturn]] void reportFault(const char *promise);

} // namespace quorvalent::test
