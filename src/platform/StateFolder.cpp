#include "platform/StateFolder.h"

#include "platform/BaseFolder.h"

namespace quorvalent::StateFolder {

std::filesystem::path path()
{
    return baseFolder("XDG_STATE_HOME", ".local/state") / "quorvalent";
}

} // namespace quorvalent::StateFolder
