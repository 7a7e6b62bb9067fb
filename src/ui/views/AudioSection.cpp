#include "ui/views/AudioSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"

#include <array>

namespace quorvalent {

using namespace Qt::StringLiterals;

namespace {

struct Rate
{
    qint64 kbps;
    QString level; ///< of a format that is told a quality rather than a rate
};

std::array<Rate, 5> rates()
{
    return {Rate{96, u"Éco"_s}, Rate{128, u"Bonne"_s}, Rate{192, u"Haute"_s}, Rate{256, u"Très haute"_s},
            Rate{320, u"Maximale"_s}};
}

} // namespace

AudioSection::AudioSection(AppModel &model, QWidget *parent)
    : ChoiceSection({{u"m4a"_s},
                     {u"mp3"_s, FormatEngine::External},
                     {u"aac"_s, FormatEngine::External},
                     {u"ogg"_s, FormatEngine::External}},
                    parent)
    , m_model(model)
{
    refresh();
}

QString AudioSection::text() const
{
    return u"WAV et AIFF : PCM 16 bits non compressé. FLAC : compression sans perte via FFmpeg. La "
           "conversion en PCM 16 bits peut réduire la précision d’une source 24 bits."_s;
}

QList<Picker::Choice> AudioSection::choices(const QString &extension) const
{
    QList<Picker::Choice> choices;
    for (const Rate &rate : rates()) {
        const bool byLevel = extension == u"ogg"_s;
        choices.append(
            {L(byLevel ? rate.level : composed(u"{0} kb/s"_s, {QString::number(rate.kbps)})), rate.kbps});
    }
    return choices;
}

qint64 AudioSection::value(const QString &extension) const
{
    return m_model.preferences().bitrate(extension);
}

void AudioSection::setValue(const QString &extension, qint64 value)
{
    m_model.changePreferences([&](Preferences &preferences) { preferences.audioBitrate[extension] = value; });
}

QString AudioSection::pickerName(const QString &extension) const
{
    return composed(u"Débit {0}"_s, {extension.toUpper()});
}

} // namespace quorvalent
