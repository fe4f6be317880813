#include "solve/factor_passes.h"

#include "interface/process_state.h"
#include "memory/factor_files.h"
#include "report/console.h"

#include <algorithm>

namespace vyr {

FactorPasses::FactorPasses(mf_solver& solver) noexcept
    : solver_(solver), work_(std::int64_t{solver.n_snodes} + solver.n), start_ms_(platform::clock_ms()) {
    if (!work_) return;
    list_ = work_.get();
    node_of_column_ = list_ + solver.n_snodes;
    std::fill_n(node_of_column_, solver.n, -1);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) node_of_column_[solver.snodes[s].first()] = s;
}

std::int32_t FactorPasses::load(std::int32_t pass) noexcept {
    if (pass < solver_.file_count) {
        const double start_ms = platform::clock_ms();
        void* buffer = nullptr;
        const int n_records = mf_load_factor_file(solver_, pass, node_of_column_, list_, buffer);
        reading_ms_ += platform::clock_ms() - start_ms;
        return n_loaded_ = std::max(n_records, 0);
    }
    n_loaded_ = 0;
    for (std::int32_t s = 0; s < solver_.n_snodes; ++s) {
        const mf_snode& node = solver_.snodes[s];
        // A failed factorization leaves nodes without a block.
        if ((node.flags & NODE_WRITTEN) == 0 && node.factor_block != nullptr) list_[n_loaded_++] = s;
    }
    return n_loaded_;
}

void FactorPasses::drop() noexcept {
    for (std::int32_t k = 0; k < n_loaded_; ++k) {
        mf_snode& node = solver_.snodes[list_[k]];
        if ((node.flags & NODE_WRITTEN) != 0) node.factor_block = nullptr;
    }
    n_loaded_ = 0;
}

void FactorPasses::report() const noexcept {
    if (solver_.file_count < 1) return;
    const double total_ms = platform::clock_ms() - start_ms_;
    mf_message("\r\n\t\tIO/solve=%g", total_ms > 0 ? reading_ms_ / total_ms : 1.0);
}

} // namespace vyr
