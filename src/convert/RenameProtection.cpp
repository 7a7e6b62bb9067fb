#include "convert/RenameProtection.h"

#include "platform/ComposedText.h"

namespace quorvalent::RenameProtection {

namespace {

using namespace Qt::StringLiterals;

// The whole message: the reason and what became of the name.
QString messageOf(const RenameJob &job, const QString &reason, const Files &files)
{
    const QString newName = displayName(job.newURL);
    if (!job.stamp.isAt(job.newURL)) {
        return composed(u"{0} Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. "
                        u"Vérifiez-le dans le Finder."_s,
                        {reason});
    }
    if (files.exists(job.oldURL)) {
        return composed(
            u"{0} Le nom d’origine est déjà occupé. Aucun fichier écrasé : « {1} » reste inchangé. "
            u"Rétablissez son extension manuellement."_s,
            {reason, newName});
    }
    // It works on the file under the new name, and would look for it there.
    if (files.isOpen(job.newURL))
        return composed(u"{0} Un programme utilise le fichier ; son nom n’a pas été rétabli."_s, {reason});
    try {
        files.moveNoReplace(job.newURL, job.oldURL);
    } catch (const Error &) {
        return composed(u"{0} Impossible de rétablir le nom d’origine. Le fichier « {1} » n’a pas été "
                        u"converti. Vérifiez son extension et les autorisations du dossier."_s,
                        {reason, newName});
    }
    return composed(u"{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié."_s,
                    {reason, displayName(job.oldURL)});
}

} // namespace

UnsupportedRenameError reject(const RenameJob &job, const QString &reason, const Files &files)
{
    return UnsupportedRenameError(messageOf(job, reason, files));
}

} // namespace quorvalent::RenameProtection
