#include "console/TerminalText.h"

#include "platform/ControlCharacters.h"

#include <QList>
#include <QTextBoundaryFinder>

#include <algorithm>
#include <array>

namespace quorvalent {

namespace {

struct Range
{
    char32_t first;
    char32_t last;
};

// The blocks of Unicode's East Asian Width property W and F that file names hold.
constexpr std::array<Range, 10> wideRanges{{{0x1100, 0x115F},
                                            {0x2E80, 0x303E},
                                            {0x3041, 0xA4CF},
                                            {0xA960, 0xA97C},
                                            {0xAC00, 0xD7A3},
                                            {0xF900, 0xFAFF},
                                            {0xFE30, 0xFE6F},
                                            {0xFF00, 0xFF60},
                                            {0x1F300, 0x1FAFF},
                                            {0x20000, 0x3FFFD}}};

int columnsOfCharacter(char32_t character)
{
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        break;
    }
    const bool wide = std::any_of(wideRanges.begin(), wideRanges.end(), [character](const Range &range) {
        return character >= range.first && character <= range.last;
    });
    return wide ? 2 : 1;
}

// What a person takes for one character, so that no accent loses its letter.
QStringList charactersOf(const QString &text)
{
    QStringList characters;
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (qsizetype start = 0, end = finder.toNextBoundary(); end >= 0; end = finder.toNextBoundary()) {
        characters.append(text.mid(start, end - start));
        start = end;
    }
    return characters;
}

template <typename Iterator>
Iterator firstBeyond(Iterator begin, Iterator end, int columns)
{
    return std::find_if(begin, end, [&columns](const QString &character) {
        columns -= columnsOf(character);
        return columns < 0;
    });
}

} // namespace

QString printable(const QString &text)
{
    return withEscapedControls(text);
}

int columnsOf(const QString &text)
{
    int columns = 0;
    for (const char32_t character : text.toUcs4())
        columns += columnsOfCharacter(character);
    return columns;
}

QString elidedInTheMiddle(const QString &text, int columns)
{
    if (columnsOf(text) <= columns)
        return text;
    if (columns < 1)
        return {};
    const QStringList characters = charactersOf(text);
    const int forStart = (columns - 1) / 2;
    const auto startEnd = firstBeyond(characters.cbegin(), characters.cend(), forStart);
    const auto endStart =
        firstBeyond(characters.crbegin(), characters.crend(), columns - 1 - forStart).base();
    return QStringList(characters.cbegin(), startEnd).join(QString()) + QChar(u'…') +
           QStringList(endStart, characters.cend()).join(QString());
}

} // namespace quorvalent
