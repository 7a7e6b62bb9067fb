#include "i18n/AppVersion.h"

#include "i18n/Localization.h"
#include "platform/Bundle.h"
#include "platform/LongDate.h"

namespace quorvalent::AppVersion {

using namespace Qt::StringLiterals;

QString display()
{
    return Bundle::information(u"QuorvalentDisplayVersion"_s).value_or(u"1.0 (développement)"_s);
}

QString releaseDate()
{
    return releaseDate(Bundle::information(u"QuorvalentReleaseDate"_s),
                       Localization::dateLocale().bcp47Name());
}

QString releaseDate(const std::optional<QString> &stored, const QString &language)
{
    if (!stored)
        return u"—"_s;
    const QDate date = QDate::fromString(*stored, u"yyyy-MM-dd"_s);
    return date.isValid() ? longDate(date, language) : *stored;
}

} // namespace quorvalent::AppVersion
