#pragma once

#include <QWidget>

namespace quorvalent {

class WrappingLabel;

/// A title over a smaller dimmed line.
class RowText : public QWidget
{
    Q_OBJECT

public:
    explicit RowText(QWidget *parent = nullptr);

    void setTexts(const QString &title, const QString &subtitle);

private:
    WrappingLabel *m_title;
    WrappingLabel *m_subtitle;
};

} // namespace quorvalent
