#pragma once

#include "convert/MissingEncoders.h"
#include "engine/EngineFamily.h"

#include <optional>
#include <vector>

namespace quorvalent {

/// Images: the image engine, and the external one with what it needs of the image layer.
class ImageFamily final : public EngineFamily
{
public:
    /// `external` is the FFmpeg program, nothing where it is missing.
    explicit ImageFamily(std::optional<std::filesystem::path> external);

    /// The targets of this family that cannot be encoded here.
    [[nodiscard]] static std::vector<MissingEncoder>
    missingEncoders(const std::optional<std::filesystem::path> &external);

    EngineReport convert(const EngineProtocol::Conversion &conversion, const std::filesystem::path &source,
                         const std::filesystem::path &output, const Progress &progress) override;
    [[nodiscard]] bool matches(const std::filesystem::path &source,
                               const std::filesystem::path &output) override;

private:
    std::optional<std::filesystem::path> m_external;
};

} // namespace quorvalent
