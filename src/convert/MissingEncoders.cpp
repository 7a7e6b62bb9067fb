#include "convert/MissingEncoders.h"

#include "convert/EngineHelper.h"
#include "core/ConversionError.h"
#include "platform/ComposedText.h"

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

MissingEncoder decoded(const QByteArray &line)
{
    const QStringList fields = QString::fromUtf8(line).split(u'\t');
    return {fields.first().split(u' '), fields.last()};
}

} // namespace

QString MissingEncoder::description() const
{
    return composed(u"Cette machine ne peut pas encoder {0} : il manque {1}."_s,
                    {u'.' + extensions.join(u", ."_s), needed});
}

QByteArray MissingEncoders::encoded(const std::vector<MissingEncoder> &missing)
{
    QByteArray lines;
    for (const MissingEncoder &each : missing)
        lines += (each.extensions.join(u' ') + u'\t' + each.needed + u'\n').toUtf8();
    return lines;
}

std::vector<MissingEncoder> MissingEncoders::of(const HelperPrograms &programs)
{
    std::vector<MissingEncoder> missing;
    for (const std::filesystem::path &program : {programs.image, programs.media}) {
        ChildProcess helper = EngineHelper::start(program, {option});
        helper.readLines([&](const QByteArray &line) { missing.push_back(decoded(line)); });
        if (!helper.wait().isSuccess())
            throw ConversionError(u"Le moteur de conversion s’est arrêté de façon inattendue."_s);
    }
    return missing;
}

} // namespace quorvalent
