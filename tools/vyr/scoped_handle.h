// The library's object of one matrix, cleared on every path.
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

} // namespace vyr::tool
