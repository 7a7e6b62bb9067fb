#pragma once

#include "platform/PreferencesDomain.h"

namespace quorvalent {

/// The file manager's own setting that decides whether it asks before a rename changes an extension. It holds
/// for every file of the user's, inside and outside the watched folders.
class FinderPreferences
{
public:
    /// The domain outlives this object.
    explicit FinderPreferences(PreferencesDomain &domain)
        : m_domain(domain)
    {}

    static const QString key;

    /// An administrator imposes the setting.
    [[nodiscard]] bool managed() const { return m_domain.isForced(key); }
    /// The file manager warns, unless it was told not to.
    [[nodiscard]] bool warningEnabled() const { return m_domain.boolean(key).value_or(true); }
    /// Throws ConversionError when the setting is imposed, and when it does not read back as written.
    void setWarningEnabled(bool enabled);

private:
    PreferencesDomain &m_domain;
};

} // namespace quorvalent
