#pragma once

#include <QFont>
#include <QPointF>
#include <QSizeF>
#include <QString>
#include <QTextLayout>

class QColor;
class QPainter;

namespace quorvalent {

/// A text set in lines. Lines break at words, and inside a word that is too long or written without spaces,
/// so that nothing is ever cut at the right edge. Lines are equally high, whatever scripts they mix.
/// Characters that would steer the text (controls, marks of direction) show as boxes.
class TextBlock
{
public:
    /// What becomes of a text that has no room: it loses its middle or its end.
    enum class Elide { Middle, End };

    /// One line of any length.
    TextBlock(const QString &text, const QFont &font);
    /// One line of at most this width.
    TextBlock(const QString &text, const QFont &font, double width, Elide elide);
    /// Lines of at most this width; with `maxLines` above 0 the last one ends in an ellipsis where more
    /// follows.
    TextBlock(const QString &text, const QFont &font, double width, int maxLines);

    /// Whole pixels that hold the lines.
    [[nodiscard]] QSizeF size() const { return m_size; }
    /// How far marks reach above the first line and under the last one, in whole pixels: stacked consonants
    /// and vowels go beyond what their font declares.
    [[nodiscard]] int above() const { return m_above; }
    [[nodiscard]] int below() const { return m_below; }
    /// Something of the text is not shown.
    [[nodiscard]] bool isCut() const { return m_isCut; }
    [[nodiscard]] int lines() const { return m_layout.lineCount(); }
    void paint(QPainter &painter, const QPointF &topLeft, const QColor &colour) const;

private:
    void set(const QString &text, double width);

    QTextLayout m_layout;
    QSizeF m_size;
    int m_above = 0;
    int m_below = 0;
    bool m_isCut = false;
};

} // namespace quorvalent
