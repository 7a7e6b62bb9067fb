#include "ui/views/FolderRow.h"

#include "i18n/Localization.h"
#include "platform/ComposedText.h"
#include "ui/Metrics.h"
#include "ui/controls/ElidedLabel.h"
#include "ui/controls/IconView.h"
#include "ui/controls/PushButton.h"
#include "ui/controls/WrappingLabel.h"

#include <QVBoxLayout>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

QString lastComponent(const std::filesystem::path &folder)
{
    const std::filesystem::path &name = folder.has_filename() ? folder.filename() : folder;
    return QString::fromStdString(name.string());
}

} // namespace

FolderRow::FolderRow(const std::filesystem::path &folder, std::function<void()> remove, QWidget *parent)
    : ListRow(Press::Once, parent)
    , m_path(QString::fromStdString(folder.string()))
    , m_icon(new IconView(Symbol::FolderFill, metrics::rowIcon))
    , m_missing(new WrappingLabel(TextStyle::Small, Tone::Orange))
    , m_remove(new PushButton(PushButton::Look::Plain))
{
    auto *name = new ElidedLabel(TextStyle::Body);
    name->setText(lastComponent(folder));
    auto *path = new ElidedLabel(TextStyle::Small, Tone::Secondary);
    path->setText(m_path);
    path->setToolTip(m_path);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(name);
    texts->addWidget(path);
    texts->addWidget(m_missing);
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    // The button's symbol ends where the dividers do.
    setContentsMargins(metrics::rowInsetX, metrics::rowInsetY,
                       metrics::rowInsetX - metrics::buttonPlainPadding, metrics::rowInsetY);
    row->setSpacing(metrics::rowGap);
    row->addWidget(m_icon);
    row->addLayout(texts, 1);
    row->addWidget(m_remove);
    m_remove->setSymbol(Symbol::MinusCircle);
    connect(m_remove, &PushButton::clicked, this, [remove = std::move(remove)] { remove(); });
    refresh(false);
}

void FolderRow::focusRemove()
{
    m_remove->setFocus(Qt::TabFocusReason);
}

void FolderRow::refresh(bool isMissing)
{
    setAccessibleName(m_path);
    m_icon->setSymbol(Symbol::FolderFill, isMissing ? Tone::Orange : Tone::Accent);
    m_missing->showText(isMissing ? L(u"Ce dossier est introuvable ou ne peut pas être lu."_s) : QString());
    m_remove->setAccessibleName(L(composed(u"Retirer le dossier {0}"_s, {m_path})));
    m_remove->setToolTip(m_remove->accessibleName());
}

} // namespace quorvalent
