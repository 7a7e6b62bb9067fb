#pragma once

#include <QDate>
#include <QString>

namespace quorvalent {

/// Day, month in letters and year as the language writes them: "14 mars 2025", "March 14, 2025",
/// "2025年3月14日". `language` is a code such as "fr" or "zh-Hans".
[[nodiscard]] QString longDate(QDate date, const QString &language);

} // namespace quorvalent
