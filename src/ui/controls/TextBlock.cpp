#include "ui/controls/TextBlock.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QRegularExpression>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr double unlimited = 1e6;

// Marks that must not stand alone at the beginning or the end of a line, in the languages that put a space
// beside them.
QString withBoundMarks(QString text)
{
    static const QRegularExpression before(u" (?=[:;!?%»])"_s);
    static const QRegularExpression after(u"(?<=«) "_s);
    return text.replace(before, u"\u00a0"_s).replace(after, u"\u00a0"_s);
}

} // namespace

TextBlock::TextBlock(const QString &text, const QFont &font)
{
    m_layout.setFont(font);
    set(text, unlimited);
}

TextBlock::TextBlock(const QString &text, const QFont &font, double width, Elide elide)
{
    m_layout.setFont(font);
    const auto mode = elide == Elide::Middle ? Qt::ElideMiddle : Qt::ElideRight;
    const QString shown = QFontMetricsF(font).elidedText(text, mode, width);
    m_isCut = shown != text;
    set(shown, unlimited);
}

TextBlock::TextBlock(const QString &text, const QFont &font, double width, int maxLines)
{
    m_layout.setFont(font);
    set(text, width);
    if (maxLines <= 0 || m_layout.lineCount() <= maxLines)
        return;
    m_isCut = true;
    const int lastStart = m_layout.lineAt(maxLines - 1).textStart();
    const QString rest = text.mid(lastStart).simplified();
    // A line's worth of the rest, and its ellipsis.
    set(text.left(lastStart) + QFontMetricsF(font).elidedText(rest, Qt::ElideRight, width), width);
}

void TextBlock::set(const QString &text, double width)
{
    QString lines = withBoundMarks(text);
    lines.replace(u'\n', QChar::LineSeparator);
    m_layout.setText(lines);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    m_layout.setTextOption(option);
    m_layout.beginLayout();
    double widest = 0;
    double height = 0;
    for (QTextLine line = m_layout.createLine(); line.isValid(); line = m_layout.createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(width);
        line.setPosition(QPointF(0, height));
        height += std::round(line.height());
        widest = std::max(widest, line.naturalTextWidth());
    }
    m_layout.endLayout();
    m_size = QSizeF(std::ceil(widest), std::ceil(height));
}

void TextBlock::paint(QPainter &painter, const QPointF &topLeft, const QColor &colour) const
{
    painter.setPen(colour);
    m_layout.draw(&painter, topLeft);
}

} // namespace quorvalent
