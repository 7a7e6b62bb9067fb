#pragma once

#include "convert/EngineProtocol.h"
#include "core/Preferences.h"
#include "core/Progress.h"

#include <filesystem>

namespace quorvalent {

/// The engines and checks for one family of media. One thread; every function blocks.
class EngineFamily
{
public:
    EngineFamily() = default;
    virtual ~EngineFamily() = default;
    EngineFamily(const EngineFamily &) = delete;
    EngineFamily &operator=(const EngineFamily &) = delete;

    /// Runs the engine that was asked for and returns what it learnt; EngineProtocol::ProtocolError where it
    /// is none of this family, else what the engine throws.
    virtual EngineReport convert(const EngineProtocol::Conversion &conversion,
                                 const std::filesystem::path &source, const std::filesystem::path &output,
                                 const Progress &progress) = 0;

    /// Whether the output holds what the source holds.
    [[nodiscard]] virtual bool matches(const std::filesystem::path &source,
                                       const std::filesystem::path &output) = 0;
};

/// The choices of a conversion, for its output's extension.
[[nodiscard]] Preferences preferencesOf(const EngineProtocol::Conversion &conversion);

} // namespace quorvalent
