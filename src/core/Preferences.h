#pragma once

#include <QByteArray>
#include <QMap>
#include <QString>

#include <chrono>
#include <filesystem>
#include <optional>
#include <vector>

namespace quorvalent {

/// The user's persisted choices. A plain value: a conversion works on the copy it was started with. The
/// keys of the maps are lower-case extensions without the dot, looked up exactly.
struct Preferences
{
    bool keepOriginal = false; ///< keep the original beside the result
    bool launchAtLogin = true;
    std::vector<std::filesystem::path> folders; ///< watched folders, absolute, in the order of adding
    QMap<QString, double> imageQuality;         ///< fraction, 1.0 is the best
    QMap<QString, qint64> audioBitrate;         ///< kbit/s
    QMap<QString, qint64> videoQuality;         ///< 0 highest, 1 medium, 2 low
    /// How long a removed original can be brought back, at once removed with 0. Stored beside the others, not
    /// among them.
    std::chrono::minutes undoSpan{30};
    QString ffmpegPath; ///< stored and restored, never used to find the engine

    bool operator==(const Preferences &) const = default;

    [[nodiscard]] double quality(const QString &format) const { return imageQuality.value(format, 1.0); }
    [[nodiscard]] qint64 bitrate(const QString &format) const { return audioBitrate.value(format, 256); }
    [[nodiscard]] qint64 video(const QString &format) const { return videoQuality.value(format, 0); }

    /// The FFmpeg program inside the application bundle, or nothing when it is missing or not executable.
    /// Looked up afresh on each call.
    [[nodiscard]] static std::optional<std::filesystem::path> ffmpeg();

    /// One JSON object with exactly seven members, UTF-8. Nothing when a quality is no finite number, which
    /// JSON cannot hold.
    [[nodiscard]] std::optional<QByteArray> encoded() const;
    /// Nothing unless the document has all seven members with the right types; others are ignored.
    [[nodiscard]] static std::optional<Preferences> decoded(const QByteArray &json);
};

} // namespace quorvalent
