#pragma once

#include <libheif/heif.h>

#include <new>

namespace quorvalent {

/// Throws std::bad_alloc where libheif got no memory. A picture beyond its own limits is not meant, though it
/// calls that by the same name.
inline void requireHeifMemory(const heif_error &error)
{
    if (error.code == heif_error_Memory_allocation_error &&
        error.subcode != heif_suberror_Security_limit_exceeded)
        throw std::bad_alloc();
}

} // namespace quorvalent
