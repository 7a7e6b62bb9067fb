#pragma once

#include "platform/Error.h"

namespace quorvalent {

/// Why an update was not found, not fetched or not installed. Whatever it is, the installed bundle is as it
/// was.
class UpdateError : public Error
{
public:
    enum class Kind {
        NoUpdate,    ///< nothing newer than what is installed
        Unreachable, ///< no connection, or the server refused
        BadFeed,     ///< the feed is no document of ours, or its signature does not hold
        BadArchive,  ///< length, checksum, signature or content of the archive do not hold
        NotAllowed,  ///< this copy belongs to a package manager, or the user may not replace it
        Failed       ///< the disk, the system, or the new version that did not start
    };

    UpdateError(Kind kind, QString message)
        : Error(std::move(message))
        , m_kind(kind)
    {}

    [[nodiscard]] Kind kind() const noexcept { return m_kind; }

private:
    Kind m_kind;
};

} // namespace quorvalent
