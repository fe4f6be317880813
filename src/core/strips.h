// Work on a large front, cut into strips that idle threads of the team may take.
#pragma once

#include "core/tuning.h"

#include <omp.h>

#include <algorithm>
#include <cstdint>

namespace vyr {

/// True when other threads of a team could take a part of the caller's work.
inline bool has_helpers() noexcept {
    return omp_get_num_threads() > 1;
}

/// Columns of a strip of n columns that may be shared: as wide as leaves every thread a few strips, since a
/// matrix product packs its left operand anew for each of them; all of them when nobody helps.
inline std::int32_t strip_width(std::int32_t n, bool shared) noexcept {
    if (!shared || !has_helpers()) return std::max(n, 1);
    const std::int32_t wanted = n / (tuning::STRIPS_A_THREAD * omp_get_num_threads());
    return std::clamp(wanted / 32 * 32, tuning::LEAST_SHARED_COLUMNS, tuning::MOST_SHARED_COLUMNS);
}

/// Runs body(begin, end) over [0, n) in strips of `width`. When `shared` and inside a parallel region of more
/// than one thread each strip is an OpenMP task, the last one first since strips of a triangle grow; returns
/// when all have run. The body must not depend on the order of the strips.
template <typename Body>
void for_strips(std::int32_t n, std::int32_t width, bool shared, const Body& body) noexcept {
    if (!shared || n <= width || !has_helpers()) {
        for (std::int32_t begin = 0; begin < n; begin += width) body(begin, std::min(n, begin + width));
        return;
    }
    const Body* shared_body = &body;
#pragma omp taskgroup
    {
        for (std::int32_t begin = (n - 1) / width * width; begin >= 0; begin -= width) {
            const std::int32_t end = std::min(n, begin + width);
#pragma omp task default(none) firstprivate(shared_body, begin, end)
            (*shared_body)(begin, end);
        }
    }
}

} // namespace vyr
