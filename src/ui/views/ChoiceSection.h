#pragma once

#include "ui/controls/Picker.h"
#include "ui/views/FormatRow.h"
#include "ui/views/Section.h"

#include <QList>

#include <functional>

namespace quorvalent {

class WrappingLabel;

/// A section with a text and, for each format, one choice out of a few.
class ChoiceSection : public Section
{
    Q_OBJECT

public:
    struct Format
    {
        QString extension;
        FormatEngine engine = FormatEngine::Platform;
    };

    void refresh() override;

protected:
    ChoiceSection(const QList<Format> &formats, QWidget *parent);

    [[nodiscard]] virtual QString text() const = 0; ///< French source text
    [[nodiscard]] virtual QList<Picker::Choice> choices(const QString &extension) const = 0; ///< translated
    [[nodiscard]] virtual qint64 value(const QString &extension) const = 0;
    virtual void setValue(const QString &extension, qint64 value) = 0;
    /// What a screen reader calls the picker, French source text.
    [[nodiscard]] virtual QString pickerName(const QString &extension) const = 0;

private:
    struct Row
    {
        QString extension;
        Picker *picker;
    };

    WrappingLabel *m_text;
    QList<Row> m_rows;
};

} // namespace quorvalent
