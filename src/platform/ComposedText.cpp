#include "platform/ComposedText.h"

#include <QStringView>

namespace quorvalent {

QString composed(const QString &text, std::initializer_list<QString> parts)
{
    constexpr qsizetype placeholderLength = 3;
    QString message;
    qsizetype done = 0;
    for (qsizetype at = text.indexOf(u'{'); at >= 0; at = text.indexOf(u'{', at + 1)) {
        const QStringView placeholder = QStringView(text).sliced(at).left(placeholderLength);
        if (placeholder.size() < placeholderLength || placeholder.back() != u'}')
            continue;
        const auto number = static_cast<std::size_t>(placeholder.at(1).unicode() - u'0');
        if (number >= parts.size())
            continue;
        message += QStringView(text).sliced(done, at - done);
        message += parts.begin()[number];
        done = at + placeholderLength;
    }
    message += QStringView(text).sliced(done);
    return message;
}

} // namespace quorvalent
