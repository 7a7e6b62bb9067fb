#pragma once

#include "ui/views/Section.h"

#include <QList>

namespace quorvalent {

class AppModel;
class Label;
class QualitySlider;
class WrappingLabel;

/// The quality of each image format that has one.
class PhotosSection : public Section
{
    Q_OBJECT

public:
    explicit PhotosSection(AppModel &model, QWidget *parent = nullptr);

    void refresh() override;

private:
    struct Row
    {
        QString extension;
        QualitySlider *slider;
        Label *value;
    };

    AppModel &m_model;
    WrappingLabel *m_text;
    QList<Row> m_rows;
};

} // namespace quorvalent
