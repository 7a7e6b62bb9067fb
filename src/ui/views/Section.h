#pragma once

#include <QWidget>

class QVBoxLayout;

namespace quorvalent {

/// The content of one section of the settings window: cards and texts, one under the other.
class Section : public QWidget
{
    Q_OBJECT

public:
    explicit Section(QWidget *parent = nullptr);

    virtual void refresh() = 0;

protected:
    [[nodiscard]] QVBoxLayout *column() const { return m_column; }

private:
    QVBoxLayout *m_column;
};

} // namespace quorvalent
