#pragma once

#include "ui/views/Section.h"

#include <QList>
#include <QUuid>

class QVBoxLayout;

namespace quorvalent {

class AppModel;
class ActivityRow;
class Card;
class WrappingLabel;

/// The recent conversions, the newest first.
class ActivitySection : public Section
{
    Q_OBJECT

public:
    explicit ActivitySection(AppModel &model, QWidget *parent = nullptr);

    void refresh() override;

protected:
    void keyPressEvent(QKeyEvent *event) override;

private:
    void rebuildRows();
    void showFile(const ActivityRow &row);
    void openMenu(const ActivityRow &row, const QPoint &place);

    AppModel &m_model;
    QWidget *m_empty;
    WrappingLabel *m_emptyTitle;
    WrappingLabel *m_emptyText;
    Card *m_list;
    QList<ActivityRow *> m_rows;
    QList<QUuid> m_shown;
};

} // namespace quorvalent
