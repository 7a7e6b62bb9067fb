#pragma once

#include <sndfile.h>

#include <memory>

namespace quorvalent {

struct SndfileCloser
{
    void operator()(SNDFILE *file) const { sf_close(file); }
};

/// Owns one file that libsndfile has open.
using SndfileHandle = std::unique_ptr<SNDFILE, SndfileCloser>;

} // namespace quorvalent
