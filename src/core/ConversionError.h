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

/// A conversion that was ended from outside, after which no other engine is tried.
class ConversionStopped : public ConversionError
{
public:
    using ConversionError::ConversionError;
};

/// The job's file does not stand where the job says any more; no failure.
class FileElsewhere : public Error
{
public:
    FileElsewhere()
        : Error(QStringLiteral("Conversion annulée."))
    {}
};

/// A rename that the family policy refused; the sentence also says what became of the file's name.
class UnsupportedRenameError : public Error
{
public:
    using Error::Error;

    [[nodiscard]] const QString &message() const noexcept { return errorDescription(); }
};

/// The user did not want the conversion any more: he cancelled it, or took the rename back or the file away.
class ConversionCancelled : public Error
{
public:
    using Error::Error;
};

} // namespace quorvalent
