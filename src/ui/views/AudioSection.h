#pragma once

#include "ui/views/ChoiceSection.h"

namespace quorvalent {

class AppModel;

/// The bit rate of each compressed audio format.
class AudioSection : public ChoiceSection
{
    Q_OBJECT

public:
    explicit AudioSection(AppModel &model, QWidget *parent = nullptr);

protected:
    [[nodiscard]] QString text() const override;
    [[nodiscard]] QList<Picker::Choice> choices(const QString &extension) const override;
    [[nodiscard]] qint64 value(const QString &extension) const override;
    void setValue(const QString &extension, qint64 value) override;
    [[nodiscard]] QString pickerName(const QString &extension) const override;

private:
    AppModel &m_model;
};

} // namespace quorvalent
