#pragma once

#include <QWidget>

namespace quorvalent {

class AppModel;
class ElidedLabel;
class IconView;
class Label;
class ProgressLine;

/// The content of the banner: one file and what becomes of it. One element to a screen reader.
class CompactBanner : public QWidget
{
    Q_OBJECT

public:
    explicit CompactBanner(AppModel &model, QWidget *parent = nullptr);

    void refresh();

protected:
    void changeEvent(QEvent *event) override;

private:
    AppModel &m_model;
    IconView *m_icon;
    ElidedLabel *m_name;
    Label *m_label;
    ProgressLine *m_line;
};

} // namespace quorvalent
