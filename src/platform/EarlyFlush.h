#pragma once

#include <filesystem>
#include <semaphore>
#include <thread>

namespace quorvalent {

/// Has the disk write a file while somebody else is still appending to it, so that the flush at the end finds
/// little left to do. A help for speed alone: it promises nothing, reports nothing, and the file may be
/// missing or be another one from one moment to the next. Owns one thread; created and destroyed by its
/// owner's.
class EarlyFlush
{
public:
    /// Starts at once. `path` is absolute.
    explicit EarlyFlush(std::filesystem::path path);
    /// Waits for a write in progress, which the final flush would have to wait for too.
    ~EarlyFlush();
    EarlyFlush(const EarlyFlush &) = delete;
    EarlyFlush &operator=(const EarlyFlush &) = delete;

private:
    void run();

    std::filesystem::path m_path;
    std::binary_semaphore m_isOver{0};
    std::thread m_thread;
};

} // namespace quorvalent
