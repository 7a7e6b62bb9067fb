#pragma once

#include "platform/update/PublicKey.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QUrl>
#include <QVersionNumber>

#include <optional>
#include <vector>

namespace quorvalent {

/// One published version. Its format is described in docs/updates.md.
struct UpdateRelease
{
    QVersionNumber version;
    QVersionNumber minimumSystem; ///< oldest C library that runs it; null when any does
    QMap<QString, QString> notes; ///< language code → plain text
    QUrl archive;                 ///< absolute
    qint64 lengthBytes = 0;       ///< of the archive, 1 to UpdateFeed::largestArchiveBytes
    QByteArray sha256;            ///< of the archive, 32 bytes
    QByteArray signature;         ///< Ed25519 of the archive, 64 bytes

    bool operator==(const UpdateRelease &) const = default;

    /// The notes in a language, else in English, else in any; empty when there are none.
    [[nodiscard]] QString notesIn(const QString &languageCode) const;
};

/// The list of published versions, as its publisher signed it.
struct UpdateFeed
{
    /// Larger than any list of versions with its notes in 14 languages will be for many years.
    static constexpr qint64 largestFeedBytes = 4LL << 20U;
    /// Ten times the bundle with all its libraries.
    static constexpr qint64 largestArchiveBytes = 1LL << 30U;

    std::vector<UpdateRelease> releases;

    /// Checks the signature before anything else of the document is looked at. Relative archive addresses
    /// are taken from `address`, the feed's own. Throws UpdateError (BadFeed).
    [[nodiscard]] static UpdateFeed read(const QByteArray &document, const PublicKey &key,
                                         const QUrl &address);

    /// The highest version above `installed` that runs on this system and is not the skipped one. A feed of
    /// an earlier day holds none.
    [[nodiscard]] std::optional<UpdateRelease> newest(const QVersionNumber &installed,
                                                      const QVersionNumber &system,
                                                      const QVersionNumber &skipped = {}) const;
};

/// Version of the running C library, what `minimumSystem` is compared with.
[[nodiscard]] QVersionNumber systemVersion();

} // namespace quorvalent
