// The library's object of one matrix, cleared on every path, or the reason why there is none.
#pragma once

#include "vyr.h"

namespace vyr::tool {

struct ScopedHandle {
    VYR_handle h = nullptr;
    ScopedHandle() = default;
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;
    ~ScopedHandle() { VYR_clear_ld(h); }
};

/// The status of an analysis that gave no handle. When memory ran out early on, the library leaves no status.
inline int failed_analysis_status(double status_parameter) {
    return status_parameter == 0.0 ? int{VYR_ERR_FACTOR_STORAGE} : static_cast<int>(status_parameter);
}

} // namespace vyr::tool
