#pragma once

#include <QWidget>

namespace quorvalent {

class Label;
class WrappingLabel;

/// The product's mark, name and slogan, in one row.
class Brand : public QWidget
{
    Q_OBJECT

public:
    explicit Brand(QWidget *parent = nullptr);

    void refresh();

private:
    Label *m_name;
    WrappingLabel *m_slogan;
};

} // namespace quorvalent
