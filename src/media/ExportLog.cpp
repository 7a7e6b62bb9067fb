#include "media/ExportLog.h"

#include <QRegularExpression>

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype mostLastWords = 350; // characters

// "Input stream #0:1 (audio): 2585 packets read (1081760 bytes); …"
// "Output stream #0:1 (audio): 2586 frames encoded (2647040 samples); 2587 packets muxed (965377 bytes); "
void addCounts(const QString &text, ExportLog &log)
{
    static const QRegularExpression line(
        u"(?:(Input)|Output) stream #\\d+:(\\d+) \\([a-z]+\\): [^\\n]*?(\\d+) packets (?:read|muxed) "_s);
    for (auto matches = line.globalMatch(text); matches.hasNext();) {
        const QRegularExpressionMatch match = matches.next();
        auto &counts = match.hasCaptured(1) ? log.packetsRead : log.packetsMuxed;
        counts[match.captured(2).toInt()] = match.captured(3).toULongLong();
    }
}

QString complaints(const QString &text)
{
    static const QRegularExpression line(u"\\[(?:error|fatal|panic)\\] ([^\\n]*)"_s);
    QString words;
    for (auto matches = line.globalMatch(text); matches.hasNext();)
        words += (words.isEmpty() ? u""_s : u" "_s) + matches.next().captured(1).trimmed();
    return words.right(mostLastWords).trimmed();
}

} // namespace

ExportLog ExportLog::parse(const QByteArray &text)
{
    const QString decoded = QString::fromUtf8(text);
    ExportLog log;
    addCounts(decoded, log);
    log.lastWords = complaints(decoded);
    log.isSourceDamaged = saysDamaged(text);
    return log;
}

bool saysDamaged(const QByteArray &log)
{
    static constexpr std::array damage{"Error while decoding stream",
                                       "Error submitting packet to decoder",
                                       "Decoding error",
                                       "error while decoding MB",
                                       "Error at MB",
                                       "CRC mismatch",
                                       "exceeds containing master element",
                                       "exceeds max length",
                                       "Invalid NAL unit size"};
    return std::any_of(damage.begin(), damage.end(), [&](const char *words) { return log.contains(words); });
}

} // namespace quorvalent
