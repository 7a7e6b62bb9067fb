#include "engine/EngineFamily.h"

#include "core/RenameJob.h"

namespace quorvalent {

Preferences preferencesOf(const EngineProtocol::Conversion &conversion)
{
    const QString extension = pathExtension(conversion.files.output);
    Preferences preferences;
    preferences.imageQuality.insert(extension, conversion.imageQuality);
    preferences.audioBitrate.insert(extension, conversion.bitrateKbps);
    preferences.videoQuality.insert(extension, conversion.videoLevel);
    preferences.keepOriginal = conversion.keepsOriginal;
    return preferences;
}

} // namespace quorvalent
