#include "engine/IncompleteSource.h"

#include "platform/ComposedText.h"

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

MediaSeconds readableLength(const MediaAsset &asset)
{
    MediaSeconds longest(0);
    for (const MediaStream &stream : asset.streams)
        if (stream.packets)
            longest =
                std::max(longest, stream.packets->end - std::min(stream.packets->first, MediaSeconds(0)));
    return longest;
}

QString text(double seconds)
{
    return QString::number(seconds, 'f', 0);
}

} // namespace

QString incompleteSource(const std::filesystem::path &source, const SourceEnd &end)
{
    const std::optional<MediaAsset> asset = MediaAsset::read(source, MediaSeconds(0));
    const MediaSeconds readable = asset ? readableLength(*asset) : MediaSeconds(0);
    if (readable <= MediaSeconds(0))
        return u"Fichier source incomplet : rien n’en est lisible."_s;
    std::optional<MediaSeconds> announced = end.announced;
    if (!announced && asset->duration && !asset->isDurationEstimated)
        announced = asset->duration;
    const double there = std::round(readable.count());
    if (announced && std::round(announced->count()) > there)
        return composed(u"Fichier source incomplet : {0} s lisibles sur {1} s annoncées."_s,
                        {text(there), text(announced->count())});
    return composed(u"Fichier source incomplet : il s’interrompt après {0} s."_s, {text(there)});
}

QString damagedSource()
{
    return u"Fichier source endommagé : certaines parties sont illisibles."_s;
}

} // namespace quorvalent
