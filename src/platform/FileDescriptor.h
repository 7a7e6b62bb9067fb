#pragma once

#include <unistd.h>

#include <filesystem>
#include <utility>

namespace quorvalent {

/// Owns one open file descriptor.
class FileDescriptor
{
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor)
        : m_descriptor(descriptor)
    {}
    FileDescriptor(FileDescriptor &&other) noexcept
        : m_descriptor(std::exchange(other.m_descriptor, -1))
    {}
    FileDescriptor &operator=(FileDescriptor &&other) noexcept
    {
        std::swap(m_descriptor, other.m_descriptor);
        return *this;
    }
    ~FileDescriptor() { close(); }

    /// Creates the file, or empties it, for writing by its owner alone (mode 0600). Throws FileError; a link
    /// in the last component is one.
    [[nodiscard]] static FileDescriptor createForWriting(const std::filesystem::path &path);

    [[nodiscard]] bool isOpen() const { return m_descriptor >= 0; }
    [[nodiscard]] int get() const { return m_descriptor; }
    [[nodiscard]] int release() { return std::exchange(m_descriptor, -1); }
    void close()
    {
        if (m_descriptor >= 0)
            ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor = -1;
};

} // namespace quorvalent
