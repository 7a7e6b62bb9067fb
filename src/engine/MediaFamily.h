#pragma once

#include "convert/MissingEncoders.h"
#include "engine/EngineFamily.h"
#include "engine/MediaCheck.h"

#include <optional>
#include <vector>

namespace quorvalent {

/// Sounds and films: their engines, and the external one.
class MediaFamily final : public EngineFamily
{
public:
    /// `external` is the FFmpeg program of the external engine, nothing where it is missing.
    explicit MediaFamily(std::optional<std::filesystem::path> external);

    /// The targets of this family that cannot be encoded here.
    [[nodiscard]] static std::vector<MissingEncoder>
    missingEncoders(const std::optional<std::filesystem::path> &external);

    EngineReport convert(const EngineProtocol::Conversion &conversion, const std::filesystem::path &source,
                         const std::filesystem::path &output, const Progress &progress) override;
    [[nodiscard]] bool matches(const std::filesystem::path &source,
                               const std::filesystem::path &output) override;

private:
    EngineReport runEngine(const EngineProtocol::Conversion &conversion, const std::filesystem::path &source,
                           const std::filesystem::path &output, const Progress &progress);
    EngineReport runExternal(const EngineProtocol::Conversion &conversion,
                             const std::filesystem::path &source, const std::filesystem::path &output,
                             const Progress &progress);
    MediaCheck &mediaCheck(const std::filesystem::path &source);

    std::optional<std::filesystem::path> m_external;
    std::optional<MediaCheck> m_mediaCheck; ///< begun before the engine, so that the source is probed once
    QString m_incomplete;                   ///< the sentence, once it is known that the source breaks off
    CarriedStreams m_carried;               ///< by the engine that ran last
};

} // namespace quorvalent
