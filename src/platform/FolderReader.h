#pragma once

#include "platform/FileDescriptor.h"

#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

namespace quorvalent {

/// Reads the names in one folder after another, reusing its memory. A part of FolderWalk.
class FolderReader
{
public:
    /// One name, valid until the next read. The name is ended by a zero byte.
    struct Entry
    {
        std::string_view name;
        unsigned char type; ///< DT_… of readdir(3), DT_UNKNOWN where the file system does not tell
    };

    /// Reads every name of an open folder, from its beginning, as one consistent list: a name that changes
    /// meanwhile appears in its old or its new form, and not in both or neither. Answers 0 or an errno value.
    [[nodiscard]] int read(int folder);
    [[nodiscard]] const std::vector<Entry> &entries() const { return m_entries; }

private:
    [[nodiscard]] int readOnce(int folder);
    void parse();

    std::vector<char> m_buffer;
    std::size_t m_used = 0;
    int m_portions = 0; ///< calls of the kernel that the last reading took
    std::vector<Entry> m_entries;
};

} // namespace quorvalent
