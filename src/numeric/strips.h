// Work on a large front, cut into strips that idle threads of the team may take.
#pragma once

#include "interface/status.h"

#include <omp.h>

#include <algorithm>
#include <atomic>
#include <cstdint>

namespace vyr {

/// Runs body(begin, end) over [0, n) in strips of `width`. When `shared` and inside a parallel region of more
/// than one thread each strip is an OpenMP task; returns when all have run. The body returns a status and
/// must not depend on the order of the strips. Returns 0 or the status of a strip that failed.
template <typename Body>
[[nodiscard]] Status for_strips(std::int32_t n, std::int32_t width, bool shared, const Body& body) noexcept {
    if (!shared || n <= width || omp_get_num_threads() == 1) {
        for (std::int32_t begin = 0; begin < n; begin += width)
            if (const Status status = body(begin, std::min(n, begin + width)); status != VYR_OK)
                return status;
        return VYR_OK;
    }
    std::atomic<Status> result{VYR_OK};
    const Body* shared_body = &body;
    std::atomic<Status>* shared_result = &result;
#pragma omp taskgroup
    {
        for (std::int32_t begin = 0; begin < n; begin += width) {
            const std::int32_t end = std::min(n, begin + width);
#pragma omp task default(none) firstprivate(shared_body, shared_result, begin, end)
            {
                if (const Status status = (*shared_body)(begin, end); status != VYR_OK)
                    shared_result->store(status, std::memory_order_relaxed);
            }
        }
    }
    return result.load();
}

} // namespace vyr
