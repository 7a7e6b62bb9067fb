#include "media/audio/TagFile.h"
#include "media/audio/TagFormat.h"

#include <taglib/aifffile.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v2tag.h>
#include <taglib/infotag.h>
#include <taglib/mp4file.h>
#include <taglib/mpegfile.h>
#include <taglib/oggflacfile.h>
#include <taglib/opusfile.h>
#include <taglib/vorbisfile.h>
#include <taglib/wavfile.h>
#include <taglib/xiphcomment.h>

#include <algorithm>
#include <array>
#include <memory>
#include <utility>

namespace quorvalent {

namespace {

using TagLib::String;

void fillId3(TagLib::ID3v2::Tag &id3, const TagSet &tags)
{
    id3.setProperties(tags.texts);
    id3.removeFrames("APIC");
    for (const CoverPicture &cover : tags.covers) {
        auto frame = std::make_unique<TagLib::ID3v2::AttachedPictureFrame>();
        frame->setPicture(cover.bytes);
        frame->setMimeType(cover.mimeType);
        frame->setTextEncoding(String::UTF8);
        frame->setDescription(cover.description);
        frame->setType(static_cast<TagLib::ID3v2::AttachedPictureFrame::Type>(cover.kind));
        id3.addFrame(frame.release()); // the tag owns its frames
    }
}

std::unique_ptr<TagLib::FLAC::Picture> flacPicture(const CoverPicture &cover)
{
    auto picture = std::make_unique<TagLib::FLAC::Picture>();
    picture->setData(cover.bytes);
    picture->setMimeType(cover.mimeType);
    picture->setDescription(cover.description);
    picture->setType(static_cast<TagLib::FLAC::Picture::Type>(cover.kind));
    return picture;
}

// "3/12" becomes two fields, as Vorbis comments keep it.
void splitTotal(TagLib::PropertyMap &texts, const char *number, const char *total)
{
    if (!texts.contains(number))
        return;
    const TagLib::StringList parts = texts[number].front().split("/");
    if (parts.size() != 2)
        return;
    texts[number] = TagLib::StringList(parts[0]);
    texts[total] = TagLib::StringList(parts[1]);
}

void fillXiph(TagLib::Ogg::XiphComment &comment, const TagSet &tags)
{
    TagLib::PropertyMap texts = tags.texts;
    splitTotal(texts, "TRACKNUMBER", "TRACKTOTAL");
    splitTotal(texts, "DISCNUMBER", "DISCTOTAL");
    comment.setProperties(texts);
}

template <typename OggFile>
bool writeOgg(const char *name, const TagSet &tags)
{
    OggFile file(name, false);
    if (!file.isValid() || file.tag() == nullptr)
        return false;
    fillXiph(*file.tag(), tags);
    file.tag()->removeAllPictures();
    for (const CoverPicture &cover : tags.covers)
        file.tag()->addPicture(flacPicture(cover).release()); // the comment owns its pictures
    return file.save();
}

bool writeFlac(const char *name, const TagSet &tags)
{
    TagLib::FLAC::File file(name, false);
    if (!file.isValid())
        return false;
    fillXiph(*file.xiphComment(true), tags);
    file.removePictures();
    for (const CoverPicture &cover : tags.covers)
        file.addPicture(flacPicture(cover).release()); // the file owns its pictures
    return file.save();
}

TagLib::MP4::CoverArt::Format mp4CoverFormat(const String &mimeType)
{
    using TagLib::MP4::CoverArt;
    if (mimeType == "image/jpeg")
        return CoverArt::JPEG;
    if (mimeType == "image/png")
        return CoverArt::PNG;
    return CoverArt::Unknown;
}

char asciiLower(char letter)
{
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool writeMp4(const char *path, const TagSet &tags)
{
    TagLib::MP4::File file(path, false);
    if (!file.isValid() || file.tag() == nullptr)
        return false;
    TagLib::MP4::Tag &tag = *file.tag();
    // What has no place of its own gets a freely named one. Players look for loudness in lower case.
    for (const auto &[key, values] : tag.setProperties(tags.texts)) {
        std::string name = key.to8Bit(true);
        if (key.startsWith("REPLAYGAIN_"))
            std::transform(name.begin(), name.end(), name.begin(), asciiLower);
        tag.setItem("----:com.apple.iTunes:" + String(name, String::UTF8), TagLib::MP4::Item(values));
    }
    TagLib::MP4::CoverArtList covers;
    for (const CoverPicture &cover : tags.covers) {
        const TagLib::MP4::CoverArt::Format format = mp4CoverFormat(cover.mimeType);
        if (format != TagLib::MP4::CoverArt::Unknown)
            covers.append(TagLib::MP4::CoverArt(format, cover.bytes));
    }
    if (!covers.isEmpty())
        tag.setItem("covr", covers);
    return file.save();
}

bool writeMpeg(const char *name, const TagSet &tags)
{
    TagLib::MPEG::File file(name, false);
    if (!file.isValid())
        return false;
    fillId3(*file.ID3v2Tag(true), tags);
    return file.save(TagLib::MPEG::File::ID3v2);
}

// The older kind of tag of WAVE files, for programs that know no other.
void fillInfo(TagLib::RIFF::Info::Tag &info, const TagSet &tags)
{
    constexpr std::array<std::pair<const char *, const char *>, 7> fields{{{"TITLE", "INAM"},
                                                                           {"ARTIST", "IART"},
                                                                           {"ALBUM", "IPRD"},
                                                                           {"TRACKNUMBER", "IPRT"},
                                                                           {"DATE", "ICRD"},
                                                                           {"GENRE", "IGNR"},
                                                                           {"COMMENT", "ICMT"}}};
    for (const auto &[key, field] : fields) {
        const auto values = tags.texts.find(key);
        if (values != tags.texts.end())
            info.setFieldText(field, values->second.toString(", "));
    }
}

bool writeWave(const char *name, const TagSet &tags)
{
    TagLib::RIFF::WAV::File file(name, false);
    if (!file.isValid())
        return false;
    fillId3(*file.ID3v2Tag(), tags);
    fillInfo(*file.InfoTag(), tags);
    return file.save();
}

bool writeAiff(const char *name, const TagSet &tags)
{
    TagLib::RIFF::AIFF::File file(name, false);
    if (!file.isValid())
        return false;
    fillId3(*file.tag(), tags);
    return file.save();
}

// The sizes inside these containers are 32 bits wide.
bool hasRoom(const std::filesystem::path &path, const TagSet &tags)
{
    constexpr std::uintmax_t largest = 0xFFFFFFFF;
    constexpr std::uintmax_t textBytes = 16UL * 1024 * 1024; // more than anyone writes
    std::uintmax_t needed = std::filesystem::file_size(path) + textBytes;
    for (const CoverPicture &cover : tags.covers)
        needed += cover.bytes.size();
    return needed <= largest;
}

} // namespace

bool writeTags(const std::filesystem::path &path, const TagSet &tags)
{
    const char *name = path.c_str();
    const TagFormat format = tagFormat(path);
    if (!hasRoom(path, tags))
        return false;
    switch (format) {
    case TagFormat::None:
    case TagFormat::Adts:
        return false;
    case TagFormat::Wave:
        return writeWave(name, tags);
    case TagFormat::Aiff:
        return writeAiff(name, tags);
    case TagFormat::Flac:
        return writeFlac(name, tags);
    case TagFormat::Mpeg:
        return writeMpeg(name, tags);
    case TagFormat::Mp4:
        return writeMp4(name, tags);
    case TagFormat::OggVorbis:
        return writeOgg<TagLib::Ogg::Vorbis::File>(name, tags);
    case TagFormat::OggOpus:
        return writeOgg<TagLib::Ogg::Opus::File>(name, tags);
    case TagFormat::OggFlac:
        return writeOgg<TagLib::Ogg::FLAC::File>(name, tags);
    }
    return false;
}

} // namespace quorvalent
