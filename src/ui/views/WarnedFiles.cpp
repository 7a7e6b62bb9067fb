#include "ui/views/WarnedFiles.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"
#include "ui/Metrics.h"
#include "ui/controls/ElidedLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr int earlierShown = 3;

QString placeOf(const WarnedFile &file)
{
    return file.folder.endsWith(u'/') ? file.folder + file.name : file.folder + u'/' + file.name;
}

} // namespace

WarnedFiles::WarnedFiles(AppModel &model, QWidget *parent)
    : QWidget(parent)
    , m_model(model)
    , m_name(new ElidedLabel(TextStyle::SecondaryMedium))
    , m_folder(new ElidedLabel(TextStyle::Small, Tone::Secondary))
    , m_more(new Label(TextStyle::Small, Tone::Secondary))
{
    auto *rows = new QVBoxLayout(this);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setSpacing(metrics::textGap);
    rows->addWidget(m_name);
    rows->addWidget(m_folder);
    for (int row = 0; row < earlierShown; ++row) {
        m_earlier.append(new ElidedLabel(TextStyle::Small, Tone::Secondary));
        rows->addWidget(m_earlier.last());
    }
    rows->addWidget(m_more);
    refresh();
}

void WarnedFiles::refresh()
{
    const QList<WarnedFile> &files = m_model.warnedFiles();
    setVisible(!files.isEmpty());
    if (files.isEmpty())
        return;
    m_name->setText(files.first().name);
    m_name->setToolTip(placeOf(files.first()));
    m_folder->showText(files.first().folder);
    m_folder->setToolTip(placeOf(files.first()));
    for (int row = 0; row < earlierShown; ++row) {
        const WarnedFile file = files.value(row + 1);
        m_earlier[row]->showText(file.name.isEmpty() ? QString() : placeOf(file));
        m_earlier[row]->setToolTip(placeOf(file) + u'\n' + L(file.message));
    }
    const int more = m_model.warningCount() - 1 - earlierShown;
    m_more->showText(more > 0 ? L(composed(u"Autres fichiers : {0}"_s, {QString::number(more)})) : QString());
    // At once, because the card is measured and painted before the next event.
    resize(width(), sizeHint().height());
    layout()->setGeometry(rect());
}

} // namespace quorvalent
