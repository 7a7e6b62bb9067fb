#pragma once

#include "platform/Error.h"

namespace quorvalent {

/// What one of the built-in checks found. Told in English, as all that the checks say: to maintainers.
class CheckFailure : public Error
{
public:
    using Error::Error;
};

inline void require(bool holds, const QString &otherwise)
{
    if (!holds)
        throw CheckFailure(otherwise);
}

} // namespace quorvalent
