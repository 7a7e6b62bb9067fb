#include "core/MediaFamilies.h"

namespace quorvalent {

using namespace Qt::StringLiterals;

const QStringList &imageExtensions()
{
    static const QStringList extensions{u"jpg"_s, u"jpeg"_s, u"png"_s, u"heic"_s, u"heif"_s,
                                        u"tif"_s, u"tiff"_s, u"gif"_s, u"bmp"_s,  u"webp"_s};
    return extensions;
}

const QStringList &audioExtensions()
{
    static const QStringList extensions{u"mp3"_s, u"m4a"_s,  u"aac"_s,  u"wav"_s,
                                        u"aif"_s, u"aiff"_s, u"flac"_s, u"ogg"_s};
    return extensions;
}

const QStringList &videoExtensions()
{
    static const QStringList extensions{u"mp4"_s, u"mov"_s, u"m4v"_s, u"mkv"_s, u"webm"_s, u"avi"_s};
    return extensions;
}

const QStringList &mediaExtensions()
{
    static const QStringList extensions = imageExtensions() + audioExtensions() + videoExtensions();
    return extensions;
}

} // namespace quorvalent
