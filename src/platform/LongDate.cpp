#include "platform/LongDate.h"

#include <QDateTime>
#include <QTimeZone>

#include <unicode/datefmt.h>
#include <unicode/locid.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>

namespace quorvalent {

QString longDate(QDate date, const QString &language)
{
    UErrorCode failed = U_ZERO_ERROR;
    const auto locale = icu::Locale::forLanguageTag(language.toStdString(), failed);
    // Qt's own long form would add the weekday.
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateInstance(icu::DateFormat::kLong, locale));
    if (U_FAILURE(failed) || !format)
        return date.toString(Qt::ISODate); // ICU's data is missing
    // Both sides in the same zone, so that midnight stays in its day.
    format->setTimeZone(*icu::TimeZone::getGMT());
    icu::UnicodeString text;
    format->format(static_cast<UDate>(date.startOfDay(QTimeZone::utc()).toMSecsSinceEpoch()), text);
    return QString::fromUtf16(text.getBuffer(), text.length());
}

} // namespace quorvalent
