#pragma once

#include <QWidget>

namespace quorvalent {

class AppModel;
class ElidedLabel;
class Label;

/// The files that the warnings are about: the newest by name and folder, those before it on a line each, and
/// how many more there are. Takes no room while there is none.
class WarnedFiles : public QWidget
{
    Q_OBJECT

public:
    explicit WarnedFiles(AppModel &model, QWidget *parent = nullptr);

    void refresh();

private:
    AppModel &m_model;
    ElidedLabel *m_name;
    ElidedLabel *m_folder;
    QList<ElidedLabel *> m_earlier;
    Label *m_more;
};

} // namespace quorvalent
