#include "core/RenamePolicy.h"

#include "core/MediaFamilies.h"

namespace quorvalent::RenameProtection {

using namespace Qt::StringLiterals;

std::optional<QString> rejectionReason(const QString &source, const QString &target)
{
    const QString s = source.toLower();
    const QString t = target.toLower();

    if (!mediaExtensions().contains(s)) {
        if (s.isEmpty())
            return u"Les fichiers sans extension ne sont pas pris en charge."_s;
        return u"Le format ."_s + s + u" n’est pas pris en charge par Quorvalent."_s;
    }
    if (!mediaExtensions().contains(t)) {
        if (t.isEmpty())
            return u"Supprimer l’extension ne convertit pas le fichier."_s;
        return u"Le format de destination ."_s + t + u" n’est pas pris en charge."_s;
    }
    for (const QStringList *family : {&imageExtensions(), &audioExtensions(), &videoExtensions()}) {
        if (family->contains(s) && family->contains(t))
            return std::nullopt;
    }
    return u"Le passage de ."_s + s + u" vers ."_s + t +
           u" n’est pas pris en charge : photos, audios et vidéos doivent rester dans leur propre famille."_s;
}

std::optional<QString> reason(const RenameJob &job)
{
    return rejectionReason(pathExtension(job.oldURL), pathExtension(job.newURL));
}

} // namespace quorvalent::RenameProtection
