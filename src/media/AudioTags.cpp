#include "media/AudioTags.h"

#include "media/AudioReader.h"
#include "media/audio/DeclaredLength.h"
#include "media/audio/TagFile.h"
#include "platform/Files.h"

#include <exception>

namespace quorvalent {

namespace {

namespace fs = std::filesystem;

// Removes the tagged copy unless it has taken the result's place.
class TaggedCopy
{
public:
    explicit TaggedCopy(const fs::path &result)
        : m_path(result.parent_path() / ("tagged" + result.extension().native()))
    {
        Files().copy(result, m_path);
    }
    ~TaggedCopy()
    {
        std::error_code ignored;
        fs::remove(m_path, ignored);
    }
    TaggedCopy(const TaggedCopy &) = delete;
    TaggedCopy &operator=(const TaggedCopy &) = delete;

    [[nodiscard]] const fs::path &path() const { return m_path; }

private:
    fs::path m_path;
};

bool soundsAlike(const fs::path &before, const fs::path &after)
{
    if (declaredLength(before) != declaredLength(after))
        return false;
    // The first block shows whether the index still points at the sound.
    constexpr std::size_t blockFrames = 4096;
    const std::unique_ptr<AudioReader> reader = AudioReader::open(after);
    AudioBuffer block(reader->format(), blockFrames);
    reader->read(block);
    return true;
}

} // namespace

void carryAudioTags(const fs::path &source, const fs::path &result) noexcept
{
    try {
        const TagSet tags = readTags(source);
        if (tags.isEmpty())
            return;
        const TaggedCopy copy(result);
        if (writeTags(copy.path(), tags) && soundsAlike(result, copy.path()))
            fs::rename(copy.path(), result);
    } catch (const std::exception &) {
        // A tag is never worth a sound: the result stays without.
    }
}

} // namespace quorvalent
