// The Transaction scopes of the calling thread: how deep, and the hives that
// joined.
#pragma once

#include <memory>
#include <vector>

#include "Hive.h"

namespace zul::registry {

struct ThreadTransaction {
    int depth = 0;
    std::vector<std::shared_ptr<Hive>> joined;
};
extern thread_local ThreadTransaction t_tx;

} // namespace zul::registry
