#include "model/FinderPreferences.h"

#include "core/ConversionError.h"

namespace quorvalent {

using namespace Qt::StringLiterals;

const QString FinderPreferences::key = u"FXEnableExtensionChangeWarning"_s;

void FinderPreferences::setWarningEnabled(bool enabled)
{
    if (managed())
        throw ConversionError(u"Ce réglage est imposé par l’administrateur de ce Mac."_s);
    if (!m_domain.set(key, enabled) || warningEnabled() != enabled)
        throw ConversionError(u"macOS n’a pas enregistré le réglage. Utilisez Finder → Réglages → Options "
                              u"avancées → Avertir avant de modifier une extension."_s);
}

} // namespace quorvalent
