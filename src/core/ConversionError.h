#pragma once

#include "platform/Error.h"

namespace quorvalent {

/// A conversion that failed, in one complete French sentence.
class ConversionError : public Error
{
public:
    using Error::Error;

    [[nodiscard]] const QString &message() const noexcept { return errorDescription(); }
};

/// A rename that the family policy refused; the sentence also says what became of the file's name.
class UnsupportedRenameError : public Error
{
public:
    using Error::Error;

    [[nodiscard]] const QString &message() const noexcept { return errorDescription(); }
};

/// The file bears its old name again: the user took the rename back while it was being converted.
class ConversionCancelled : public Error
{
public:
    using Error::Error;
};

} // namespace quorvalent
