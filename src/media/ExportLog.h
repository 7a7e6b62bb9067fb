#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <map>

namespace quorvalent {

/// What FFmpeg wrote to its log at level "level+verbose".
struct ExportLog
{
    std::map<int, std::uint64_t> packetsRead;  ///< by the source's stream number
    std::map<int, std::uint64_t> packetsMuxed; ///< by the result's stream number
    QString lastWords;                         ///< the last complaints, at most 350 characters

    bool operator==(const ExportLog &) const = default;

    [[nodiscard]] static ExportLog parse(const QByteArray &text);
};

} // namespace quorvalent
