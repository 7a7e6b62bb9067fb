#include "ui/views/VideoSection.h"

#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "platform/ComposedText.h"

namespace quorvalent {

using namespace Qt::StringLiterals;

VideoSection::VideoSection(AppModel &model, QWidget *parent)
    : ChoiceSection({{u"mp4"_s},
                     {u"mov"_s},
                     {u"m4v"_s},
                     {u"mkv"_s, FormatEngine::External},
                     {u"webm"_s, FormatEngine::External},
                     {u"avi"_s, FormatEngine::External}},
                    parent)
    , m_model(model)
{
    refresh();
}

QString VideoSection::text() const
{
    return u"Le moteur Apple utilise ses profils d’export, qui peuvent réduire la résolution. FFmpeg utilise "
           "H.264 ou "
           "VP9. Les sous-titres, pistes multiples et métadonnées ne sont pas garantis dans ce prototype."_s;
}

QList<Picker::Choice> VideoSection::choices(const QString & /*extension*/) const
{
    return {{L(u"Maximale"_s), qint64{0}}, {L(u"Équilibrée"_s), qint64{1}}, {L(u"Compacte"_s), qint64{2}}};
}

qint64 VideoSection::value(const QString &extension) const
{
    return m_model.preferences().video(extension);
}

void VideoSection::setValue(const QString &extension, qint64 value)
{
    m_model.changePreferences([&](Preferences &preferences) { preferences.videoQuality[extension] = value; });
}

QString VideoSection::pickerName(const QString &extension) const
{
    return composed(u"Profil vidéo {0}"_s, {extension.toUpper()});
}

} // namespace quorvalent
