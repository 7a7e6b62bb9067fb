#include "ui/views/PhotosSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "ui/Metrics.h"
#include "ui/controls/Card.h"
#include "ui/controls/Divider.h"
#include "ui/controls/QualitySlider.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/views/FormatRow.h"

#include <QVBoxLayout>

#include <array>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

struct Format
{
    const char *extension;
    FormatEngine engine = FormatEngine::Platform;
};

constexpr std::array formats{
    Format{"jpg"}, Format{"jpeg"}, Format{"heic"}, Format{"heif"}, Format{"webp", FormatEngine::External},
};

// The fraction of a per cent is dropped. What stands for 29 % is stored as 0.29, and 100 times that is a
// little less than 29 in binary.
int wholePercent(double fraction)
{
    constexpr double rounding = 1e-9;
    return static_cast<int>(fraction * 100 + rounding);
}

} // namespace

PhotosSection::PhotosSection(AppModel &model, QWidget *parent)
    : Section(parent)
    , m_model(model)
    , m_text(new WrappingLabel(TextStyle::Body, Tone::Secondary))
{
    column()->addWidget(m_text);
    auto *card = new Card;
    for (const Format &format : formats) {
        const QString extension = QString::fromLatin1(format.extension);
        const Row row{extension, new QualitySlider, new Label(TextStyle::Body)};
        row.value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        row.value->setMinimumWidth(metrics::percentage);
        auto *control = new QWidget;
        auto *items = new QHBoxLayout(control);
        items->setContentsMargins(0, 0, 0, 0);
        items->addWidget(row.slider);
        items->addWidget(row.value);
        if (!m_rows.isEmpty())
            card->add(new Divider);
        card->add(formatRow(extension, format.engine, control));
        connect(row.slider, &QualitySlider::moved, this, [this, extension](double fraction) {
            m_model.changePreferences(
                [&](Preferences &preferences) { preferences.imageQuality[extension] = fraction; });
        });
        m_rows.append(row);
    }
    column()->addWidget(card);
    refresh();
}

void PhotosSection::refresh()
{
    m_text->setText(L(
        u"PNG, TIFF, BMP : sans perte, sans réglage de qualité. GIF : palette limitée à 256 couleurs. JPEG : "
        "la "
        "transparence est remplacée par un fond blanc. 100 % signifie qualité maximale, pas une compression "
        "sans perte."_s));
    for (const Row &row : m_rows) {
        const double quality = m_model.preferences().quality(row.extension);
        row.slider->setAccessibleName(L(composed(u"Qualité {0}"_s, {row.extension.toUpper()})));
        row.slider->setFraction(quality);
        row.value->setText(L(composed(u"{0} %"_s, {QString::number(wholePercent(quality))})));
    }
}

} // namespace quorvalent
