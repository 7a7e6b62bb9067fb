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
    bool isSourceDamaged = false;              ///< it complained of the source, see saysDamaged()
    QString lastWords;                         ///< the last complaints, at most 350 characters

    bool operator==(const ExportLog &) const = default;

    [[nodiscard]] static ExportLog parse(const QByteArray &text);
};

/// Whether FFmpeg, of its versions 5 to 7, says that packets of its source do not decode or that the
/// container is broken inside. Of a file that is whole it says nothing.
[[nodiscard]] bool saysDamaged(const QByteArray &log);

} // namespace quorvalent
