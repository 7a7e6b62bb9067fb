#pragma once

#include <QWidget>

namespace quorvalent {

class AppModel;
class ElidedLabel;
class IconView;
class Label;
class ProgressLine;
class WrappingLabel;

/// How far the conversion is, with its file, as the menu shows it.
class ProgressContent : public QWidget
{
    Q_OBJECT

public:
    explicit ProgressContent(AppModel &model, QWidget *parent = nullptr);

    void refresh();

private:
    AppModel &m_model;
    IconView *m_icon;
    WrappingLabel *m_title;
    Label *m_percentage;
    ElidedLabel *m_name;
    ProgressLine *m_line;
    WrappingLabel *m_detail;
    WrappingLabel *m_queued;
};

} // namespace quorvalent
