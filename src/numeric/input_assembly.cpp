#include "numeric/input_assembly.h"

#include "interface/process_state.h"
#include "numeric/tuning.h"

#include <algorithm>
#include <cstring>

namespace vyr {

namespace {

/// Zeroes factor values [begin, end); fresh ones are zero and need one touch a page.
void zero_values(double* values, std::int64_t begin, std::int64_t end, bool fresh) noexcept {
    if (!fresh) {
        std::memset(values + begin, 0, static_cast<std::size_t>(end - begin) * sizeof(double));
        return;
    }
    const std::int64_t page = mf_system.page_size / sizeof(double);
    for (std::int64_t k = begin; k < end; k += page) values[k] = 0;
}

} // namespace

void mf_assemble_input(mf_solver& solver, const double* values) noexcept {
    constexpr std::int64_t chunk = tuning::TOUCH_BYTES / static_cast<std::int64_t>(sizeof(double));
    const std::int64_t n_entries = solver.factor_entries;
    const std::int64_t n_chunks = (n_entries + chunk - 1) / chunk;
    const bool fresh = solver.lu_values_zero;
    const bool parallel = n_chunks > 1 && ctrl_int(CTRL_TYPE) == TYPE_SPD;
    double* factor = solver.lu_values;
    const std::int64_t* map = solver.value_map;
    const std::int32_t n_input = solver.n_input;

#pragma omp parallel for schedule(dynamic, 1) num_threads(solver.n_threads) if (parallel)
    for (std::int64_t c = 0; c < n_chunks; ++c)
        zero_values(factor, c * chunk, std::min(n_entries, (c + 1) * chunk), fresh);

#pragma omp parallel for schedule(static)                                                                    \
    num_threads(solver.n_threads) if (parallel && !solver.repeated_entries)
    for (std::int32_t k = 0; k < n_input; ++k) factor[map[k]] = values[k];

    solver.lu_values_zero = false;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) solver.snodes[s].flags |= NODE_ASSEMBLED;
}

} // namespace vyr
