#include "ui/views/Brand.h"

#include "i18n/Localization.h"
#include "ui/Metrics.h"
#include "ui/controls/Painting.h"
#include "ui/controls/WrappingLabel.h"
#include "ui/icons/Symbol.h"

#include <QHBoxLayout>
#include <QPainter>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr double tileTint = 0.12;

class Tile : public QWidget
{
public:
    Tile() { setFixedSize(metrics::brandTile, metrics::brandTile); }

protected:
    void paintEvent(QPaintEvent * /*event*/) override
    {
        const Theme &theme = Theme::of(*this);
        QPainter painter(this);
        paintRounded(painter, rect(), metrics::brandRadius, theme.accentTint(tileTint));
        const double inset = (metrics::brandTile - metrics::brandIcon) / 2.0;
        paintSymbol(painter, Symbol::ConvertArrows, QRectF(rect()).adjusted(inset, inset, -inset, -inset),
                    theme.accent, SymbolWeight::Semibold);
    }
};

} // namespace

Brand::Brand(QWidget *parent)
    : QWidget(parent)
    , m_name(new Label(TextStyle::Title))
    , m_slogan(new WrappingLabel(TextStyle::Body, Tone::Secondary))
{
    m_slogan->balance();
    auto *row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(metrics::brandSpacing);
    row->addWidget(new Tile, 0, Qt::AlignVCenter);
    auto *texts = new QVBoxLayout;
    texts->setSpacing(metrics::brandTextSpacing);
    texts->addStretch();
    texts->addWidget(m_name);
    texts->addWidget(m_slogan);
    texts->addStretch();
    row->addLayout(texts, 1);
    refresh();
}

void Brand::refresh()
{
    m_name->setText(L(u"Quorvalent"_s));
    m_slogan->setText(L(u"Une extension. Un nouveau format."_s));
}

} // namespace quorvalent
