#include "core/RenamePolicy.h"

#include "core/MediaFamilies.h"
#include "platform/ComposedText.h"

namespace quorvalent::RenameProtection {

using namespace Qt::StringLiterals;

std::optional<QString> rejectionReason(const QString &source, const QString &target)
{
    const QString s = source.toLower();
    const QString t = target.toLower();

    if (!mediaExtensions().contains(s)) {
        if (s.isEmpty())
            return u"Les fichiers sans extension ne sont pas pris en charge."_s;
        return composed(u"Le format .{0} n’est pas pris en charge par Quorvalent."_s, {s});
    }
    if (!mediaExtensions().contains(t)) {
        if (t.isEmpty())
            return u"Supprimer l’extension ne convertit pas le fichier."_s;
        return composed(u"Le format de destination .{0} n’est pas pris en charge."_s, {t});
    }
    for (const QStringList *family : {&imageExtensions(), &audioExtensions(), &videoExtensions()}) {
        if (family->contains(s) && family->contains(t))
            return std::nullopt;
    }
    return composed(
        u"Le passage de .{0} vers .{1} n’est pas pris en charge : photos, audios et vidéos doivent "
        u"rester dans leur propre famille."_s,
        {s, t});
}

std::optional<QString> reason(const RenameJob &job)
{
    return rejectionReason(pathExtension(job.oldURL), pathExtension(job.newURL));
}

} // namespace quorvalent::RenameProtection
