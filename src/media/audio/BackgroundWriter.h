#pragma once

#include "media/AudioWriter.h"

#include <array>
#include <exception>
#include <memory>
#include <optional>
#include <semaphore>
#include <thread>

namespace quorvalent {

/// Has another writer work on a thread of its own, so that a file is written while its source is still being
/// decoded. Holds at most two buffers; a caller that is faster waits. A failure is thrown by a later call.
class BackgroundWriter : public AudioWriter
{
public:
    /// The wrapped writer is used by one thread at a time.
    explicit BackgroundWriter(std::unique_ptr<AudioWriter> writer);
    ~BackgroundWriter() override;

    void write(const AudioBuffer &buffer) override;
    void finish() override;

private:
    /// What goes to the thread, a buffer or, without one, the end; and what comes back from it.
    struct Slot
    {
        std::optional<AudioBuffer> buffer;
        std::exception_ptr failure;
    };

    void run();
    /// Waits for a slot to be free; throws what went wrong with its last buffer.
    Slot &nextSlot();
    void end();

    std::unique_ptr<AudioWriter> m_writer;
    // Both sides go round the slots in the same order; the semaphores say whose turn a slot is.
    std::array<Slot, 2> m_slots;
    std::size_t m_next = 0;
    std::counting_semaphore<2> m_free{2};
    std::counting_semaphore<2> m_filled{0};
    std::thread m_thread;
};

} // namespace quorvalent
