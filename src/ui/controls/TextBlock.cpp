#include "ui/controls/TextBlock.h"

#include "platform/ControlCharacters.h"

#include <QFontMetricsF>
#include <QGlyphRun>
#include <QPainter>
#include <QRawFont>
#include <QRegularExpression>
#include <QTextOption>

#include <algorithm>
#include <cmath>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

constexpr double unlimited = 1e6;

// Marks that must not stand alone at the beginning or the end of a line, in the languages that put a space
// beside them, and the warning sign, which ends in a choice of its picture.
QString withBoundMarks(QString text)
{
    static const QRegularExpression before(u" (?=[:;!?%»])"_s);
    static const QRegularExpression after(u"(?<=[«\ufe0f]) "_s);
    return text.replace(before, u"\u00a0"_s).replace(after, u"\u00a0"_s);
}

// How far the first letter reaches to the left of its line: the hook of a j.
double hookOf(const QString &text, const QTextLine &line, const QFontMetricsF &metrics)
{
    const int first = line.textStart();
    return first < text.size() ? std::max(0.0, -metrics.leftBearing(text.at(first))) : 0;
}

struct Extent
{
    double top = 0;
    double bottom = 0;
};

// From the topmost to the lowest stroke.
Extent strokesOf(const QTextLine &line)
{
    Extent extent{.top = line.y() + line.ascent(), .bottom = line.y()};
    for (const QGlyphRun &run : line.glyphRuns()) {
        const QRawFont font = run.rawFont();
        const QList<quint32> glyphs = run.glyphIndexes();
        const QList<QPointF> places = run.positions();
        for (qsizetype i = 0; i < glyphs.size(); ++i) {
            const QRectF strokes = font.boundingRect(glyphs[i]).translated(places[i]);
            extent.top = std::min(extent.top, strokes.top());
            extent.bottom = std::max(extent.bottom, strokes.bottom());
        }
    }
    return extent;
}

// Above and under the base line, in the font's own script and in the Latin letters that any text may contain.
Extent lineOf(const QFont &font)
{
    const QFontMetricsF metrics(font);
    QTextLayout latin(u"A"_s, font);
    latin.beginLayout();
    const QTextLine line = latin.createLine();
    latin.endLayout();
    return {.top = std::max(line.ascent(), metrics.ascent()),
            .bottom = std::max(line.descent(), metrics.descent() + std::max(0.0, metrics.leading()))};
}

} // namespace

TextBlock::TextBlock(const QString &text, const QFont &font)
{
    m_layout.setFont(font);
    set(withBoxedControls(text, false), unlimited);
}

TextBlock::TextBlock(const QString &text, const QFont &font, double width, Elide elide)
{
    m_layout.setFont(font);
    const auto mode = elide == Elide::Middle ? Qt::ElideMiddle : Qt::ElideRight;
    const QString whole = withBoxedControls(text, false);
    const QString shown = QFontMetricsF(font).elidedText(whole, mode, width);
    m_isCut = shown != whole;
    set(shown, unlimited);
}

TextBlock::TextBlock(const QString &source, const QFont &font, double width, int maxLines)
{
    const QString text = withBoxedControls(source, true);
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
    const QFontMetricsF metrics(m_layout.font());
    const Extent usual = lineOf(m_layout.font());
    double widest = 0;
    double height = 0;
    for (QTextLine line = m_layout.createLine(); line.isValid(); line = m_layout.createLine()) {
        const double hook = hookOf(lines, line, metrics);
        line.setLineWidth(width - hook);
        const double ascent = std::max(line.ascent(), usual.top);
        line.setPosition(QPointF(hook, height + ascent - line.ascent()));
        height += std::round(ascent + std::max(line.descent(), usual.bottom));
        widest = std::max(widest, hook + line.naturalTextWidth());
    }
    m_layout.endLayout();
    m_size = QSizeF(std::ceil(widest), height);
    if (m_layout.lineCount() == 0)
        return;
    const Extent first = strokesOf(m_layout.lineAt(0));
    const Extent last = strokesOf(m_layout.lineAt(m_layout.lineCount() - 1));
    m_above = std::max(0, static_cast<int>(std::ceil(-first.top)));
    m_below = std::max(0, static_cast<int>(std::ceil(last.bottom - height)));
}

void TextBlock::paint(QPainter &painter, const QPointF &topLeft, const QColor &colour) const
{
    painter.setPen(colour);
    m_layout.draw(&painter, topLeft);
}

} // namespace quorvalent
