#include "solve/factor_passes.h"

#include "memory/factor_files.h"

#include <algorithm>
#include <utility>

namespace vyr {

FactorPasses::~FactorPasses() {
    if (buffer_) mf_return_read_buffer(factor_, std::move(buffer_));
}

Status FactorPasses::open() noexcept {
    const Analysis& analysis = *factor_.analysis;
    work_ = Buffer<std::int32_t>(context_.memory, std::int64_t{analysis.n_snodes} + analysis.n);
    block_of_ = Buffer<const double*>(context_.memory, analysis.n_snodes);
    if (!work_ || !block_of_) return out_of_memory(context_);
    if (factor_.files.count > 0) {
        buffer_ = mf_borrow_read_buffer(context_, factor_);
        if (!buffer_) return Status::MEMORY;
    }
    list_ = work_.get();
    node_of_column_ = list_ + analysis.n_snodes;
    std::fill_n(node_of_column_, analysis.n, -1);
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) node_of_column_[analysis.snodes[s].first()] = s;
    return Status::OK;
}

std::int32_t FactorPasses::load(std::int32_t pass) noexcept {
    if (pass < factor_.files.count) {
        const double start_ms = platform::clock_ms();
        const int n_records = mf_load_factor_file(factor_, pass, node_of_column_, buffer_.get(),
                                                  buffer_.count(), list_, block_of_.get());
        reading_ms_ += platform::clock_ms() - start_ms;
        if (n_records < 0) unread_file_ = pass;
        return std::max(n_records, 0);
    }
    std::int32_t n_nodes = 0;
    for (std::int32_t s = 0; s < factor_.analysis->n_snodes; ++s) {
        // A failed factorization leaves nodes without a block.
        if ((factor_.blocks[s].flags & BLOCK_WRITTEN) != 0 || factor_.block(s) == nullptr) continue;
        list_[n_nodes++] = s;
        block_of_[s] = factor_.block(s);
    }
    return n_nodes;
}

Status FactorPasses::finish() const noexcept {
    if (mf_stop(context_)) return Status::CANCELLED;
    if (factor_.files.count < 1) return Status::OK;
    const double total_ms = platform::clock_ms() - start_ms_;
    mf_message(context_, "\r\n\t\tIO/solve=%g", total_ms > 0 ? reading_ms_ / total_ms : 1.0);
    if (unread_file_ < 0) return Status::OK;
    char path[FILE_PATH_BYTES];
    (void)mf_file_path(factor_.files.directory.get(), unread_file_, path);
    return fail(context_, Status::FACTOR_FILE, "%.160s cannot be read, or is not what was written", path);
}

} // namespace vyr
