#include "platform/Error.h"

#include "platform/ComposedText.h"

#include <cerrno>
#include <system_error>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

QString sentence(int errorNumber, const std::filesystem::path &path)
{
    const QString name = displayName(path);
    switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
        return composed(u"« {0} » est introuvable."_s, {name});
    case EACCES:
    case EPERM:
        return composed(u"Accès refusé à « {0} »."_s, {name});
    case EEXIST:
    case ENOTEMPTY:
        return composed(u"« {0} » existe déjà."_s, {name});
    case ENOSPC:
    case EDQUOT:
        return u"Espace disque insuffisant."_s;
    case EROFS:
        return composed(u"Le volume de « {0} » est en lecture seule."_s, {name});
    case EIO:
        return composed(u"Erreur du disque sur « {0} »."_s, {name});
    case EFBIG:
        return composed(u"« {0} » est trop volumineux pour ce volume."_s, {name});
    case ENAMETOOLONG:
        return composed(u"Le nom « {0} » est trop long pour ce volume."_s, {name});
    case EBUSY:
    case ETXTBSY:
        return composed(u"« {0} » est utilisé par le système."_s, {name});
    case EAGAIN: // of a process or a thread
        return u"Le système n’accorde plus de processus : une limite est atteinte (ulimit -u, TasksMax)."_s;
    case ELOOP:
    case EISDIR:
    case ENXIO:
        return composed(u"« {0} » n’est pas un fichier ordinaire."_s, {name});
    default:
        return composed(u"Erreur du système sur « {0} » : {1}"_s,
                        {name, QString::fromStdString(std::generic_category().message(errorNumber))});
    }
}

} // namespace

Error::Error(QString message)
    : m_message(std::move(message))
    , m_utf8(m_message.toUtf8())
{}

FileError::FileError(int errorNumber, const std::filesystem::path &path)
    : Error(sentence(errorNumber, path))
    , m_notFound(errorNumber == ENOENT || errorNumber == ENOTDIR)
    , m_occupied(errorNumber == EEXIST || errorNumber == ENOTEMPTY)
{}

QString displayText(const std::filesystem::path &path)
{
    return QString::fromStdString(path.native());
}

QString displayName(const std::filesystem::path &path)
{
    return displayText(path.filename());
}

} // namespace quorvalent
