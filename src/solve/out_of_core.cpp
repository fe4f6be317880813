// Substitution with a factor that is not, or not all, in memory: in passes of what is there at a time, one
// factor file after the other, then the nodes that never went to a file.
#include "memory/factor_files.h"
#include "platform/platform.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// Hands the nodes of a factor out, pass by pass. Descendants come before their ancestors when the passes and
/// each pass's nodes are taken in ascending order, after them in descending order.
///
/// Borrows the read buffer of the factor while it lives. Counts the time spent reading.
class FactorPasses {
public:
    FactorPasses(Context& context, const Factor& factor) noexcept
        : context_(context), factor_(factor), start_ms_(platform::clock_ms()) {}
    ~FactorPasses() {
        if (buffer_) mf_return_read_buffer(factor_, std::move(buffer_));
    }
    FactorPasses(const FactorPasses&) = delete;
    FactorPasses& operator=(const FactorPasses&) = delete;

    /// Comes first. Returns 0, or MEMORY for the lists or the read buffer.
    [[nodiscard]] Status open() noexcept;

    std::int32_t count() const noexcept { return factor_.files.count + 1; }

    /// Brings the nodes of a pass into memory and returns their number. A file that cannot be read has none,
    /// and is remembered. Nodes and blocks of the pass before are gone.
    [[nodiscard]] std::int32_t load(std::int32_t pass) noexcept;
    /// Number of the k-th node of the loaded pass, and the block of such a node.
    std::int32_t node(std::int32_t k) const noexcept { return list_[k]; }
    const double* block(std::int32_t s) const noexcept { return block_of_[s]; }

    /// Shows the share of the time since construction that went into reading, when there are files and
    /// messages are on. Returns FACTOR_FILE when a file could not be read.
    [[nodiscard]] Status finish() const noexcept;

private:
    Context& context_;
    const Factor& factor_;
    Buffer<std::int32_t> work_;
    Buffer<const double*> block_of_;         ///< n_snodes; valid for the nodes of the loaded pass
    Buffer<char> buffer_;                    ///< the file of the loaded pass
    std::int32_t* list_ = nullptr;           ///< n_snodes: nodes of the loaded pass
    std::int32_t* node_of_column_ = nullptr; ///< n: node of each first pivot column, -1 elsewhere
    std::int32_t unread_file_ = -1;
    double start_ms_, reading_ms_ = 0;
};

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
    if (factor_.files.count < 1) return Status::OK;
    const double total_ms = platform::clock_ms() - start_ms_;
    mf_message(context_, "\r\n\t\tIO/solve=%g", total_ms > 0 ? reading_ms_ / total_ms : 1.0);
    if (unread_file_ < 0) return Status::OK;
    return fail(context_, Status::FACTOR_FILE, "factor file %d cannot be read or belongs to another factor",
                unread_file_);
}

/// Solves for one vector x of n doubles in the caller's numbering, in place: forward(s, block, w) for every
/// node s with descendants first, then backward(s, block, w) with ancestors first, on the vector w in pivot
/// order.
///
/// The contents of x are free for the sweeps' own use meanwhile. Returns as mf_solve_llt_ooc.
template <typename Forward, typename Backward>
Status run_sweeps(Context& context, const Factor& factor, double* x, const Forward& forward,
                  const Backward& backward) noexcept {
    const Analysis& analysis = *factor.analysis;
    FactorPasses passes(context, factor);
    if (const Status status = passes.open(); status != Status::OK) return status;
    Buffer<double> w(context.memory, analysis.n);
    if (!w) return out_of_memory(context);
    for (std::int32_t k = 0; k < analysis.n; ++k) w[k] = x[analysis.perm[k]];
    for (std::int32_t pass = 0; pass < passes.count(); ++pass) {
        const std::int32_t n_nodes = passes.load(pass);
        for (std::int32_t k = 0; k < n_nodes; ++k)
            forward(passes.node(k), passes.block(passes.node(k)), w.get());
    }
    for (std::int32_t pass = passes.count() - 1; pass >= 0; --pass) {
        for (std::int32_t k = passes.load(pass) - 1; k >= 0; --k)
            backward(passes.node(k), passes.block(passes.node(k)), w.get());
    }
    for (std::int32_t k = 0; k < analysis.n; ++k) x[analysis.perm[k]] = w[k];
    return passes.finish();
}

} // namespace

// Plain loops that stream once through each block: a block comes from a file, so BLAS would gain nothing.
Status mf_solve_llt_ooc(Context& context, const Factor& factor, double* x) noexcept {
    const mf_snode* snodes = factor.analysis->snodes.get();
    const auto forward = [=](std::int32_t s, const double* block, double* w) noexcept {
        mf_small_forward(snodes[s], block, w);
    };
    const auto backward = [=](std::int32_t s, const double* block, double* w) noexcept {
        mf_small_backward(snodes[s], block, w);
    };
    return run_sweeps(context, factor, x, forward, backward);
}

// The caller's vector serves as the scratch of the sweeps.
Status mf_solve_ldlt_ooc(Context& context, const Factor& factor, double* x) noexcept {
    if (!factor.pivot_index) return Status::OK;
    const bool by_blas = context.settings.type == TYPE_CSYM;
    const mf_snode* snodes = factor.analysis->snodes.get();
    const std::int32_t* record = factor.pivot_index.get();
    const FactorBlock* blocks = factor.blocks.get();
    const auto forward = [=](std::int32_t s, const double* block, double* w) noexcept {
        const bool two_by_two = (blocks[s].flags & BLOCK_TWO_BY_TWO) != 0;
        mf_ldlt_forward_node(snodes[s], block, two_by_two, record + snodes[s].first(), w, x);
    };
    const auto backward = [=](std::int32_t s, const double* block, double* w) noexcept {
        mf_ldlt_backward_node(snodes[s], block, record + snodes[s].first(), w, x, by_blas);
    };
    return run_sweeps(context, factor, x, forward, backward);
}

} // namespace vyr
