#include "media/image/FrameTiming.h"

#include <QRegularExpression>

namespace quorvalent {

using namespace Qt::StringLiterals;

QByteArray withTiming(QByteArray description, const FrameTiming &timing)
{
    if (!timing.delay)
        return description;
    if (!description.isEmpty())
        description += '\n';
    description += "animation frame: delay " + QByteArray::number(qint64{timing.delay->count()}) + " ms";
    if (timing.loopCount)
        description += ", loops " + QByteArray::number(*timing.loopCount);
    return description;
}

FrameTiming takeTiming(QByteArray &description)
{
    static const QRegularExpression line(
        u"(?:^|\\n)animation frame: delay (\\d{1,8}) ms(?:, loops (\\d{1,6}))?$"_s);
    const QRegularExpressionMatch match = line.match(QString::fromLatin1(description));
    if (!match.hasMatch())
        return {};
    FrameTiming timing;
    timing.delay = std::chrono::milliseconds(match.captured(1).toInt());
    if (!match.captured(2).isEmpty())
        timing.loopCount = match.captured(2).toInt();
    description.truncate(match.capturedStart());
    return timing;
}

} // namespace quorvalent
