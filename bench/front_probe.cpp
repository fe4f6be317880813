#include "bench/front_probe.h"

#include "bench/worker.h"
#include "numeric/dense_cholesky.h"
#include "numeric/update_passing.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <numeric>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vyr::bench {

namespace {

constexpr double PROBE_ENTRIES = 6e6;     ///< doubles of all nodes: 48 MB
constexpr double PROBE_FLOPS = 2e8;       ///< of all nodes, if that leaves one
constexpr std::int32_t CACHED_ROWS = 128; ///< update rows up to which an ancestor stays in the caches
constexpr double MOST_NODES = 20'000;

template <typename T>
Buffer<T> made(Accounting& memory, std::int64_t count, T value) {
    Buffer<T> buffer(memory, count, value);
    if (!buffer) throw std::bad_alloc();
    return buffer;
}

/// Median of so many rounds, after one to warm up.
template <typename Work>
double median_seconds(int rounds, const Work& work) {
    std::vector<double> samples;
    for (int round = 0; round <= rounds; ++round) {
        const double start = clock_seconds();
        work();
        if (round > 0) samples.push_back(clock_seconds() - start);
    }
    return median(std::move(samples));
}

} // namespace

// The nodes come first, then the chains: ancestor k of one has its own columns and those of all behind it.
FrontProbe::FrontProbe(std::int32_t n_pivots, std::int32_t n_rows, std::int32_t n_ancestors, bool scattered)
    : n_rows_(n_rows), stride_(scattered ? 2 : 1), n_ancestors_(n_ancestors) {
    const double entries = 1.0 * n_pivots * (n_pivots + n_rows) + 0.5 * std::pow(1.0 * stride_ * n_rows, 2);
    const double flops = 0.5 * mf_flop_count(n_pivots, n_rows, n_rows);
    n_nodes_ = static_cast<std::int32_t>(
        std::clamp(std::min(PROBE_ENTRIES / entries, PROBE_FLOPS / flops), 1.0, MOST_NODES));
    const std::int32_t n_chains = (n_nodes_ - 1) / n_sharing() + 1, columns = n_rows * stride_;
    analysis_.n = n_nodes_ * n_pivots + n_chains * columns;
    analysis_.n_snodes = n_nodes_ + n_chains * n_ancestors;
    analysis_.snodes = made(memory_, analysis_.n_snodes, mf_snode{});
    analysis_.snode_parent = made(memory_, analysis_.n_snodes, std::int32_t{-1});
    const std::int64_t n_listed =
        std::int64_t{n_nodes_} * (n_pivots + n_rows) + std::int64_t{n_chains} * columns * n_ancestors;
    analysis_.row_slab = made(memory_, n_listed, std::int32_t{0});
    analysis_.rel_slab = made(memory_, n_listed, std::int32_t{0});
    shares_ = made(memory_, n_ancestors, n_rows / n_ancestors);
    shares_[n_ancestors - 1] += n_rows % n_ancestors;
    for (std::int32_t s = 0; s < n_nodes_; ++s) make_node(s, n_pivots);
    for (std::int32_t chain = 0; chain < n_chains; ++chain) make_chain(chain);
    make_factor();
}

std::int32_t FrontProbe::n_sharing() const {
    return n_rows_ <= CACHED_ROWS ? 8 : 2;
}

mf_snode& FrontProbe::add(std::int32_t s, std::int32_t n_pivots, std::int32_t n_rows) {
    mf_snode& node = analysis_.snodes[s];
    node.npiv = n_pivots;
    node.nupd = n_rows;
    std::int32_t* const rows = analysis_.row_slab.get() + n_listed_;
    node.rows = rows;
    node.rel_index = analysis_.rel_slab.get() + n_listed_;
    node.start = analysis_.factor_entries;
    analysis_.factor_entries += node.n_entries();
    std::iota(rows, rows + n_pivots, n_columns_);
    n_columns_ += n_pivots;
    n_listed_ += n_pivots + n_rows;
    return node;
}

void FrontProbe::make_node(std::int32_t s, std::int32_t n_pivots) {
    std::int32_t* const update_rows = analysis_.row_slab.get() + n_listed_ + n_pivots;
    mf_snode& node = add(s, n_pivots, n_rows_);
    node.anc_count = n_ancestors_;
    node.anc_rows = shares_.get();
    const std::int32_t first = n_nodes_ * n_pivots + s / n_sharing() * n_rows_ * stride_;
    for (std::int32_t j = 0; j < n_rows_; ++j) {
        update_rows[j] = first + j * stride_;
        node.rel_index[n_pivots + j] = j * stride_;
    }
    analysis_.snode_parent[s] = n_nodes_ + s / n_sharing() * n_ancestors_;
}

void FrontProbe::make_chain(std::int32_t chain) {
    std::int32_t left = n_rows_ * stride_; // columns of the ancestor and those above it
    for (std::int32_t k = 0; k < n_ancestors_; ++k) {
        const std::int32_t s = n_nodes_ + chain * n_ancestors_ + k, n_pivots = shares_[k] * stride_;
        left -= n_pivots;
        std::int32_t* const update_rows = analysis_.row_slab.get() + n_listed_ + n_pivots;
        mf_snode& node = add(s, n_pivots, left);
        std::iota(update_rows, update_rows + left, n_columns_);
        std::iota(node.rel_index + n_pivots, node.rel_index + n_pivots + left, 0);
        if (k + 1 < n_ancestors_) analysis_.snode_parent[s] = s + 1;
    }
}

// Unit pivots and little beside them: a node stays what it is, however often it is eliminated.
void FrontProbe::make_factor() {
    factor_.lu_values = made(memory_, analysis_.factor_entries, 1e-5);
    factor_.diag_values = made(memory_, analysis_.n, 0.0);
    factor_.blocks = made(memory_, analysis_.n_snodes, FactorBlock{});
    for (std::int32_t s = 0; s < analysis_.n_snodes; ++s) {
        const mf_snode& node = analysis_.snodes[s];
        double* const block = factor_.lu_values.get() + node.start;
        factor_.blocks[s].values = block;
        for (std::int64_t k = 0; k < node.npiv; ++k) block[k * node.npiv + k] = 1;
    }
    nodes_ = made(memory_, n_nodes_, std::int32_t{0});
    std::iota(nodes_.get(), nodes_.get() + n_nodes_, 0);
    scratch_ = made(memory_, 2 * std::int64_t{analysis_.n}, std::int32_t{0});
    task_.nodes = nodes_.get();
    task_.n_nodes = n_nodes_;
    packed_ = made(memory_, mf_packed_entries(analysis_.snodes[0], task_.kernel->lanes), 0.0);
    task_.packed = packed_.get();
    task_.scratch = scratch_.get();
}

FrontSeconds FrontProbe::seconds(int rounds) {
    const mf_snode& node = analysis_.snodes[0];
    const auto each = [&](const auto& work) {
        return median_seconds(rounds,
                              [&] {
                                  for (std::int32_t s = 0; s < n_nodes_; ++s) work(factor_.block(s));
                              }) /
               n_nodes_;
    };
    FrontSeconds parts{};
    parts.whole = median_seconds(rounds, [&] { mf_spd_node(factor_, task_); }) / n_nodes_;
    parts.cholesky = each([&](double* block) {
        if (mf_dense_cholesky(*task_.loops, *task_.kernel, node.npiv, block, node.npiv, false) != 0)
            throw std::logic_error("the pivots of a probe are positive");
    });
    parts.solve = each([&](double* block) {
        mf_dense_solve(*task_.loops, *task_.kernel, node.npiv, block, node.npiv, node.nupd,
                       node.coupling(block), node.npiv);
    });
    return parts;
}

double FrontProbe::pass_seconds(int rounds) {
    const std::int32_t n_rows = analysis_.snodes[0].nupd;
    const Buffer<double> update = made(memory_, std::int64_t{n_rows} * n_rows, 0.0);
    return median_seconds(rounds, [&] {
        if (mf_pass_columns(factor_, 0, 0, INT32_MAX, update.get(), n_rows, 0, n_rows, scratch_.get()) !=
            Status::OK)
            throw std::bad_alloc();
    });
}

} // namespace vyr::bench
