// The work space of L L^T by the elimination graph.
#pragma once

#include "core/analysis.h"

#include <cstdint>

namespace vyr {

/// How the work space is divided: doubles for each thread, each subtree and each panel at work.
struct WorkPlan {
    std::int64_t thread = 0, owed = 0, panel = 0;
    std::int32_t n_threads, n_subtrees, n_panels; ///< at work at a time

    /// For a team of `threads`, and a kernel of so many lanes.
    WorkPlan(const Analysis& analysis, std::int32_t threads, std::int32_t lanes) noexcept;

    std::int64_t entries() const noexcept {
        return thread * n_threads + owed * n_subtrees + panel * n_panels;
    }

private:
    std::int32_t n_at_work(const Analysis& analysis, std::int64_t size) const noexcept;
};

} // namespace vyr
