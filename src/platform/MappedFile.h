#pragma once

#include <QByteArray>

#include <filesystem>
#include <optional>
#include <utility>

namespace quorvalent {

/// A regular file's bytes, mapped for reading. The file must not shrink meanwhile.
class MappedFile
{
public:
    /// Nothing when the file cannot be read or is empty.
    [[nodiscard]] static std::optional<MappedFile> open(const std::filesystem::path &path);

    MappedFile(MappedFile &&other) noexcept
        : m_data(std::exchange(other.m_data, nullptr))
        , m_size(std::exchange(other.m_size, 0))
    {}
    MappedFile &operator=(MappedFile &&other) noexcept
    {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        return *this;
    }
    ~MappedFile();

    [[nodiscard]] QByteArrayView bytes() const
    {
        return {static_cast<const char *>(m_data), static_cast<qsizetype>(m_size)};
    }

private:
    MappedFile(void *data, std::size_t size)
        : m_data(data)
        , m_size(size)
    {}

    void *m_data;
    std::size_t m_size;
};

} // namespace quorvalent
