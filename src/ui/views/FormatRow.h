#pragma once

#include <QString>

class QWidget;

namespace quorvalent {

/// Who writes a format.
enum class FormatEngine { Platform, External };

/// A row for one output format in a section: its name in capitals, the mark of the external engine, and the
/// control at the right.
[[nodiscard]] QWidget *formatRow(const QString &extension, FormatEngine engine, QWidget *control);

} // namespace quorvalent
