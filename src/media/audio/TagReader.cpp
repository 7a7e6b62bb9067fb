#include "media/audio/TagFile.h"
#include "media/audio/TagFormat.h"

#include <taglib/aifffile.h>
#include <taglib/apetag.h>
#include <taglib/attachedpictureframe.h>
#include <taglib/flacfile.h>
#include <taglib/id3v1tag.h>
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
#include <string_view>

namespace quorvalent {

namespace {

using TagLib::String;

// A FLAC picture's length is 24 bits wide; the other formats hold more than anyone draws.
constexpr unsigned largestCoverBytes = 15U * 1024 * 1024;

// Notes about the bytes of the old file, which say nothing true of the new one.
constexpr std::array<std::string_view, 16> encodingNotes{"ENCODER",
                                                         "ENCODEDBY",
                                                         "ENCODING",
                                                         "ENCODINGTIME",
                                                         "ENCODERSETTINGS",
                                                         "ENCODING PARAMS",
                                                         "LENGTH",
                                                         "FILETYPE",
                                                         "ORIGINALFILENAME",
                                                         "MAJOR_BRAND",
                                                         "MINOR_VERSION",
                                                         "COMPATIBLE_BRANDS",
                                                         "WAVEFORMATEXTENSIBLE_CHANNEL_MASK",
                                                         "R128_TRACK_GAIN",
                                                         "R128_ALBUM_GAIN",
                                                         "TOOL"};
constexpr std::array<std::string_view, 2> encodingNotePrefixes{"ITUN", "MP3GAIN_"};

bool isEncodingNote(const std::string &key)
{
    return std::find(encodingNotes.begin(), encodingNotes.end(), key) != encodingNotes.end() ||
           std::any_of(encodingNotePrefixes.begin(), encodingNotePrefixes.end(),
                       [&](std::string_view prefix) { return key.starts_with(prefix); });
}

// Takes what no tag before has given. Comments and lyrics may carry a description behind a colon, which only
// one format knows.
void addTexts(TagSet &tags, const TagLib::PropertyMap &texts)
{
    for (const auto &[name, values] : texts) {
        const int colon = name.find(":");
        const String base = colon > 0 ? name.substr(0, static_cast<unsigned>(colon)) : name;
        const bool isDescribed = colon > 0 && (base == "COMMENT" || base == "LYRICS");
        const String description = isDescribed ? name.substr(static_cast<unsigned>(colon) + 1) : String();
        const String key = isDescribed ? base : name;
        if (isEncodingNote(key.upper().to8Bit(true)) || isEncodingNote(description.upper().to8Bit(true)))
            continue;
        TagLib::StringList filled;
        for (const String &value : values) {
            if (!value.isEmpty())
                filled.append(value);
        }
        if (!filled.isEmpty() && !tags.texts.contains(key) && !(isDescribed && texts.contains(base)))
            tags.texts.insert(key, filled);
    }
}

// "3" and "12" become "3/12", as ID3v2 and MPEG-4 keep them.
void joinTotal(TagLib::PropertyMap &texts, const char *number, std::initializer_list<const char *> totals)
{
    for (const char *total : totals) {
        if (texts.contains(number) && texts.contains(total) && texts[number].front().find("/") < 0)
            texts[number] = TagLib::StringList(texts[number].front() + "/" + texts[total].front());
        texts.erase(total);
    }
}

String mimeTypeOf(const TagLib::ByteVector &bytes)
{
    if (bytes.startsWith("\xFF\xD8"))
        return "image/jpeg";
    if (bytes.startsWith("\x89PNG"))
        return "image/png";
    if (bytes.startsWith("GIF8"))
        return "image/gif";
    if (bytes.startsWith("BM"))
        return "image/bmp";
    return bytes.containsAt("WEBP", 8) ? "image/webp" : String();
}

void addCover(TagSet &tags, const TagLib::ByteVector &bytes, const String &description, int kind)
{
    // The type by the picture itself: what taggers note of it is often wrong. A link is no picture.
    const String mimeType = mimeTypeOf(bytes);
    if (!mimeType.isEmpty() && bytes.size() <= largestCoverBytes)
        tags.covers.push_back({bytes, mimeType, description, kind});
}

void addId3(TagSet &tags, const TagLib::ID3v2::Tag *id3)
{
    if (id3 == nullptr)
        return;
    addTexts(tags, id3->properties());
    if (!tags.covers.empty())
        return;
    for (const TagLib::ID3v2::Frame *frame : id3->frameList("APIC")) {
        if (const auto *picture = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame *>(frame))
            addCover(tags, picture->picture(), picture->description(), picture->type());
    }
}

void addApe(TagSet &tags, const TagLib::APE::Tag *ape)
{
    if (ape == nullptr)
        return;
    addTexts(tags, ape->properties());
    const auto &items = ape->itemListMap();
    const auto cover = items.find("COVER ART (FRONT)");
    if (!tags.covers.empty() || cover == items.end())
        return;
    const TagLib::ByteVector named = cover->second.binaryData();
    const int end = named.find('\0');
    if (end >= 0)
        addCover(tags, named.mid(static_cast<unsigned>(end) + 1), String(),
                 TagLib::FLAC::Picture::FrontCover);
}

void addPictures(TagSet &tags, const TagLib::List<TagLib::FLAC::Picture *> &pictures)
{
    for (const TagLib::FLAC::Picture *picture : pictures)
        addCover(tags, picture->data(), picture->description(), picture->type());
}

// One field under several names: writers of Vorbis comments never agreed.
void renameAliases(TagLib::PropertyMap &texts)
{
    constexpr std::array<std::pair<const char *, const char *>, 6> aliases{{{"DESCRIPTION", "COMMENT"},
                                                                            {"UNSYNCEDLYRICS", "LYRICS"},
                                                                            {"UNSYNCED LYRICS", "LYRICS"},
                                                                            {"ALBUM ARTIST", "ALBUMARTIST"},
                                                                            {"ALBUM_ARTIST", "ALBUMARTIST"},
                                                                            {"YEAR", "DATE"}}};
    for (const auto &[alias, name] : aliases) {
        if (!texts.contains(alias) || texts.contains(name))
            continue;
        texts.insert(name, texts[alias]);
        texts.erase(alias);
    }
}

void addXiph(TagSet &tags, TagLib::Ogg::XiphComment *comment)
{
    if (comment == nullptr)
        return;
    TagLib::PropertyMap texts = comment->properties();
    renameAliases(texts);
    addTexts(tags, texts);
    addPictures(tags, comment->pictureList());
}

void addMp4(TagSet &tags, const TagLib::MP4::Tag *tag)
{
    if (tag == nullptr)
        return;
    addTexts(tags, tag->properties());
    // Freely named items, loudness notes among them, are not among the properties.
    static const String freePrefix("----:com.apple.iTunes:");
    TagLib::PropertyMap free;
    for (const auto &[name, item] : tag->itemMap()) {
        if (name.startsWith(freePrefix) && !item.toStringList().isEmpty())
            free.insert(name.substr(freePrefix.size()).upper(), item.toStringList());
    }
    addTexts(tags, free);
    for (const TagLib::MP4::CoverArt &cover : tag->item("covr").toCoverArtList())
        addCover(tags, cover.data(), String(), TagLib::FLAC::Picture::FrontCover);
}

void readMpeg(TagSet &tags, const char *name)
{
    TagLib::MPEG::File file(name, false);
    addId3(tags, file.ID3v2Tag());
    addApe(tags, file.APETag());
    if (file.hasID3v1Tag())
        addTexts(tags, file.ID3v1Tag()->properties());
}

void readFlac(TagSet &tags, const char *name)
{
    TagLib::FLAC::File file(name, false);
    addPictures(tags, file.pictureList());
    addXiph(tags, file.hasXiphComment() ? file.xiphComment() : nullptr);
    addId3(tags, file.hasID3v2Tag() ? file.ID3v2Tag() : nullptr);
}

void readWave(TagSet &tags, const char *name)
{
    const TagLib::RIFF::WAV::File file(name, false);
    addId3(tags, file.hasID3v2Tag() ? file.ID3v2Tag() : nullptr);
    if (file.hasInfoTag())
        addTexts(tags, file.InfoTag()->properties());
}

} // namespace

TagSet readTags(const std::filesystem::path &path)
{
    TagSet tags;
    const char *name = path.c_str();
    switch (tagFormat(path)) {
    case TagFormat::None:
        break;
    case TagFormat::Wave:
        readWave(tags, name);
        break;
    case TagFormat::Aiff: {
        const TagLib::RIFF::AIFF::File file(name, false);
        addId3(tags, file.hasID3v2Tag() ? file.tag() : nullptr);
        break;
    }
    case TagFormat::Flac:
        readFlac(tags, name);
        break;
    case TagFormat::Mpeg:
    case TagFormat::Adts:
        readMpeg(tags, name);
        break;
    case TagFormat::Mp4: {
        const TagLib::MP4::File file(name, false);
        addMp4(tags, file.hasMP4Tag() ? file.tag() : nullptr);
        break;
    }
    case TagFormat::OggVorbis:
        addXiph(tags, TagLib::Ogg::Vorbis::File(name, false).tag());
        break;
    case TagFormat::OggOpus:
        addXiph(tags, TagLib::Ogg::Opus::File(name, false).tag());
        break;
    case TagFormat::OggFlac:
        addXiph(tags, TagLib::Ogg::FLAC::File(name, false).tag());
        break;
    }
    joinTotal(tags.texts, "TRACKNUMBER", {"TRACKTOTAL", "TOTALTRACKS"});
    joinTotal(tags.texts, "DISCNUMBER", {"DISCTOTAL", "TOTALDISCS"});
    return tags;
}

} // namespace quorvalent
