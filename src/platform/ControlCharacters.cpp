#include "platform/ControlCharacters.h"

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr QChar box = u'\u25A1';
constexpr int escapeDigits = 4;

} // namespace

bool isSteering(char16_t character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        break;
    }
    switch (QChar::direction(character)) {
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        return character == u'\u061C' || character == u'\u200E' || character == u'\u200F';
    }
}

QString withEscapedControls(const QString &text)
{
    QString result;
    result.reserve(text.size());
    for (const QChar character : text) {
        if (isSteering(character.unicode()))
            result += u"\\u"_s +
                      QString::number(character.unicode(), 16).toUpper().rightJustified(escapeDigits, u'0');
        else
            result += character;
    }
    return result;
}

QString withBoxedControls(QString text, bool keepsLines)
{
    std::replace_if(
        text.begin(), text.end(),
        [keepsLines](QChar character) {
            return isSteering(character.unicode()) && !(keepsLines && character == u'\n');
        },
        box);
    return text;
}

} // namespace quorvalent
