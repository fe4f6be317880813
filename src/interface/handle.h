// The opaque handle of the public header and the object it stands for.
#pragma once

#include "symbolic/solver.h"
#include "vyr.h"

namespace vyr {

inline mf_solver* from_handle(VYR_handle handle) noexcept {
    return reinterpret_cast<mf_solver*>(handle);
}

inline VYR_handle to_handle(mf_solver* solver) noexcept {
    return reinterpret_cast<VYR_handle>(solver);
}

} // namespace vyr
