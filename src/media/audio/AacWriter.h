#pragma once

#include "media/AudioWriter.h"
#include "media/audio/AdtsHeader.h"
#include "media/audio/Mp4AudioFile.h"
#include "platform/ChildProcess.h"
#include "platform/FileDescriptor.h"

#include <QByteArray>

namespace quorvalent {

/// Writes AAC: samples go to FFmpeg's program through one pipe and come back encoded through another.
class AacWriter : public AudioWriter
{
public:
    AacWriter(const std::filesystem::path &path, int bitRate, const AudioFormat &source,
              std::optional<std::int64_t> length);

    void write(const AudioBuffer &buffer) override;
    void finish() override;

private:
    struct Feed
    {
        FileDescriptor ours;
        FileDescriptor childs;
    };
    AacWriter(const std::filesystem::path &path, int bitRate, const AudioFormat &source, Feed feed);

    void receive();
    void storePackets();

    int m_channels;
    FileDescriptor m_feed;
    ChildProcess m_child;
    Mp4AudioFile m_file;
    QByteArray m_encoded; ///< received and not yet stored
    std::optional<AdtsHeader> m_stream;
    std::int64_t m_frames = 0;
};

} // namespace quorvalent
