#pragma once

#include "core/ConversionRun.h"
#include "core/RenameJob.h"
#include "platform/NumberClaim.h"

#include <filesystem>
#include <optional>

namespace quorvalent {

/// Makes one conversion of a rename that several programs of the user have seen, each of which watches the
/// folder: the job's file is claimed, and who comes second waits. One conversion's thread.
class ConversionClaim
{
public:
    /// Blocks while another program converts the file; throws FileElsewhere where that, or anybody else, has
    /// taken the file away from its place by then. Claims are made in the file `claims`, which the programs
    /// share. Without it, and when the run is cancelled, nothing is claimed.
    ConversionClaim(const RenameJob &job, const std::filesystem::path &claims,
                    const Cancellation &cancellation);

private:
    std::optional<NumberClaim> m_claim;
};

} // namespace quorvalent
