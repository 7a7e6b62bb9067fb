#include "media/audio/BackgroundWriter.h"

#include <utility>

namespace quorvalent {

BackgroundWriter::BackgroundWriter(std::unique_ptr<AudioWriter> writer)
    : m_writer(std::move(writer))
    , m_thread([this] { run(); })
{}

BackgroundWriter::~BackgroundWriter()
{
    end();
}

BackgroundWriter::Slot &BackgroundWriter::nextSlot()
{
    m_free.acquire();
    Slot &slot = m_slots.at(m_next);
    if (slot.failure) {
        m_free.release(); // nothing was handed over
        std::rethrow_exception(std::exchange(slot.failure, nullptr));
    }
    m_next = (m_next + 1) % m_slots.size();
    return slot;
}

void BackgroundWriter::write(const AudioBuffer &buffer)
{
    const std::size_t place = m_next;
    Slot &slot = nextSlot();
    try {
        slot.buffer = buffer; // after the first rounds into memory that is there
    } catch (...) {
        m_next = place;
        m_free.release();
        throw;
    }
    m_filled.release();
}

void BackgroundWriter::end()
{
    if (!m_thread.joinable())
        return;
    m_free.acquire();
    m_slots.at(m_next).buffer.reset();
    m_filled.release();
    m_thread.join();
}

void BackgroundWriter::finish()
{
    end();
    for (Slot &slot : m_slots) {
        if (slot.failure)
            std::rethrow_exception(std::exchange(slot.failure, nullptr));
    }
    m_writer->finish();
}

void BackgroundWriter::run()
{
    bool hasFailed = false; // what follows a failure is not written any more
    for (std::size_t next = 0;; next = (next + 1) % m_slots.size()) {
        m_filled.acquire();
        Slot &slot = m_slots.at(next);
        if (!slot.buffer)
            return;
        try {
            if (!hasFailed)
                m_writer->write(*slot.buffer);
        } catch (...) {
            hasFailed = true;
            slot.failure = std::current_exception();
        }
        m_free.release();
    }
}

} // namespace quorvalent
