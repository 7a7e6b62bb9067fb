#include "platform/Error.h"

#include <cerrno>
#include <system_error>

namespace quorvalent {

namespace {

QString sentence(int errorNumber, const std::filesystem::path &path)
{
    const QString name = displayName(path);
    switch (errorNumber) {
    case ENOENT:
    case ENOTDIR:
        return QStringLiteral("« %1 » est introuvable.").arg(name);
    case EACCES:
    case EPERM:
        return QStringLiteral("Accès refusé à « %1 ».").arg(name);
    case EEXIST:
    case ENOTEMPTY:
        return QStringLiteral("« %1 » existe déjà.").arg(name);
    case ENOSPC:
    case EDQUOT:
        return QStringLiteral("Espace disque insuffisant.");
    case EROFS:
        return QStringLiteral("Le volume de « %1 » est en lecture seule.").arg(name);
    case EIO:
        return QStringLiteral("Erreur du disque sur « %1 ».").arg(name);
    case EFBIG:
        return QStringLiteral("« %1 » est trop volumineux pour ce volume.").arg(name);
    case ENAMETOOLONG:
        return QStringLiteral("Le nom « %1 » est trop long pour ce volume.").arg(name);
    case EBUSY:
    case ETXTBSY:
        return QStringLiteral("« %1 » est utilisé par le système.").arg(name);
    case ELOOP:
    case EISDIR:
    case ENXIO:
        return QStringLiteral("« %1 » n’est pas un fichier ordinaire.").arg(name);
    default:
        return QStringLiteral("Erreur du système sur « %1 » : %2")
            .arg(name, QString::fromStdString(std::generic_category().message(errorNumber)));
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
