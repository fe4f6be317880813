// The cut of the assembly tree into subtree tasks and the top task.
#pragma once

#include "reference/supernodes.h"

namespace vyr::reference {

struct Tasks {
    std::vector<Ints> nodes;  ///< per task, the last one the top task
    std::vector<bool> shared; ///< per supernode: its update reaches the top task
    double critical_share = 0;
    std::int64_t work_entries = 0; ///< doubles of work block for all tasks
};

Tasks task_partition(const AssemblyTree& tree, std::int32_t threads, bool blocked);

} // namespace vyr::reference
