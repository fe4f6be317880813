// The input values on their way into the factor blocks, and the advisory check of what arrived.
#include "core/tuning.h"
#include "numeric/phases.h"
#include "platform/platform.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>

namespace vyr {

namespace {

/// Zeroes factor values [begin, end); fresh ones are zero and need one touch a page.
void zero_values(double* values, std::int64_t begin, std::int64_t end, bool fresh) noexcept {
    if (!fresh) {
        std::memset(values + begin, 0, static_cast<std::size_t>(end - begin) * sizeof(double));
        return;
    }
    const auto page = static_cast<std::int64_t>(platform::page_size() / sizeof(double));
    for (std::int64_t k = begin; k < end; k += page) values[k] = 0;
}

/// Few enough that nobody waits long for a thread that shares its core with another program.
constexpr std::int32_t ENTRIES_AT_A_TIME = 32'768;

} // namespace

Status mf_assemble_input(const Context& context, const double* values, Factor& factor) noexcept {
    constexpr std::int64_t chunk = tuning::TOUCH_BYTES / static_cast<std::int64_t>(sizeof(double));
    const Analysis& analysis = *factor.analysis;
    const std::int64_t n_entries = analysis.factor_entries;
    const std::int64_t n_chunks = (n_entries + chunk - 1) / chunk;
    const bool fresh = factor.lu_values_zero;
    const bool parallel = n_chunks > 1 && context.settings.type == TYPE_SPD;
    const std::int32_t n_threads = mf_numeric_threads(context, factor);
    double* target = factor.lu_values.get();
    const std::int64_t* map = analysis.value_map.get();
    const std::int32_t n_input = analysis.n_input;

#pragma omp parallel for schedule(dynamic, 1) num_threads(n_threads) if (parallel)
    for (std::int64_t c = 0; c < n_chunks; ++c)
        if (!mf_stop(context)) zero_values(target, c * chunk, std::min(n_entries, (c + 1) * chunk), fresh);

    if (mf_stop(context)) {
        factor.lu_values_zero = false;
        return Status::CANCELLED;
    }
#pragma omp parallel for schedule(dynamic, ENTRIES_AT_A_TIME)                                                \
    num_threads(n_threads) if (parallel && !analysis.repeated_entries)
    for (std::int32_t k = 0; k < n_input; ++k) target[map[k]] = values[k];

    factor.lu_values_zero = false;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) factor.blocks[s].flags |= BLOCK_ASSEMBLED;
    return Status::OK;
}

void mf_lu_init_check(const Log& log, const Factor& factor) noexcept {
    for (std::int64_t k = 0; k < factor.lu_values.count(); ++k) {
        const double value = factor.lu_values[k];
        if (value != value) mf_message(log, "INVALID!!!\tNAN VALUE %g in LU%" PRId64 "\r\n", value, k);
    }
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s)
        if (factor.block(s) == nullptr) mf_message(log, "INVALID!!!\tNULL LU at node %d\r\n", s);
    mf_message(log, "\tLU value init OK!\r\n");
}

} // namespace vyr
