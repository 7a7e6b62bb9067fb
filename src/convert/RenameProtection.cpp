#include "convert/RenameProtection.h"

namespace quorvalent::RenameProtection {

namespace {

using namespace Qt::StringLiterals;

// Names are put in by concatenation: a name may hold "%1".
QString outcomeOf(const RenameJob &job, const Files &files)
{
    const QString newName = displayName(job.newURL);
    if (!job.stamp.isAt(job.newURL)) {
        return u" Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. "
               u"Vérifiez-le dans le Finder."_s;
    }
    if (files.exists(job.oldURL)) {
        return u" Le nom d’origine est déjà occupé. Aucun fichier écrasé : « "_s + newName +
               u" » reste inchangé. Rétablissez son extension manuellement."_s;
    }
    try {
        files.moveNoReplace(job.newURL, job.oldURL);
    } catch (const Error &) {
        return u" Impossible de rétablir le nom d’origine. Le fichier « "_s + newName +
               u" » n’a pas été converti. Vérifiez son extension et les autorisations du dossier."_s;
    }
    return u" Nom d’origine rétabli : « "_s + displayName(job.oldURL) +
           u" ». Le contenu n’a pas été modifié."_s;
}

} // namespace

UnsupportedRenameError reject(const RenameJob &job, const QString &reason, const Files &files)
{
    return UnsupportedRenameError(reason + outcomeOf(job, files));
}

} // namespace quorvalent::RenameProtection
