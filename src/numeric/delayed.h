// L D L^T with threshold pivoting: columns without a pivot in their node are passed on to its parent.
//
// I. S. Duff and J. K. Reid, "The multifrontal solution of indefinite sparse symmetric linear systems", ACM
// Trans. Math. Softw. 9 (1983). Each node has a front of its own: what the analysis says, and the columns
// that its children passed on. Updates go from a node to its parent alone, added in the order of the
// children, so that results do not depend on who was faster.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/lock.h"
#include "numeric/front.h"

#include <cstdint>

namespace vyr {

/// Factorises by settings: threads, pivot_mode, pivot_share, zero_pivot, zero_pivots. Blocks lie in
/// factor.lu_values, those of a task one behind the other, or on their own where that is full, and out of
/// core.
///
/// values   n_input doubles in the order of the analysed pattern
///
/// Returns OK; MEMORY or FACTOR_STORAGE; CANCELLED; ILL_CONDITIONED when columns are zero in the end and the
/// settings do not allow that: the factor is complete all the same. Results depend on the values and the
/// number of threads alone.
Status mf_delayed_factor(Context& context, const double* values, Factor& factor) noexcept;

/// What the tasks of one factorization share.
struct DelayedRun {
    Context& context;
    Factor& factor;
    const double* values;
    PivotRules rules;
    Buffer<std::int32_t> first_child, next_sibling; ///< n_snodes each, -1 at the end
    // What waits for the parent's front; null for nothing.
    Buffer<double*> updates; ///< n_snodes: Schur complement of the update rows
    Buffer<double*> passed;  ///< n_snodes: columns without a pivot, n_delayed + nupd rows each
    Lock lock;

    explicit DelayedRun(Context& c, Factor& f, const double* v) noexcept : context(c), factor(f), values(v) {}
    ~DelayedRun();
    DelayedRun(const DelayedRun&) = delete;
    DelayedRun& operator=(const DelayedRun&) = delete;

    Status prepare() noexcept;
    void release_passed_on(std::int32_t s) noexcept;
    /// Columns that the children pass on.
    std::int32_t n_passed_on(std::int32_t s) const noexcept;
    template <typename Visit>
    void for_children(std::int32_t s, const Visit& visit) const noexcept {
        for (std::int32_t c = first_child[s]; c >= 0; c = next_sibling[c]) visit(c);
    }
};

/// Fills a node's front, of the right size and shape: input entries, the children's updates, and the columns
/// that they pass on. shared: idle threads may help.
void mf_assemble_front(const DelayedRun& run, std::int32_t s, const Front& front, bool shared) noexcept;

/// One task: some nodes, the space it works in, and what it leaves behind.
struct DelayedTask {
    const std::int32_t* nodes = nullptr; ///< ascending
    std::int32_t n_nodes = 0;
    double* storage = nullptr;           ///< its part of factor.lu_values
    std::int64_t capacity = 0, used = 0; ///< doubles of that
    Buffer<double> w, row;
    Buffer<std::int32_t> order;
    Status status = Status::OK;
    double flops = 0, assembly_ms = 0;
    std::int64_t n_delayed = 0;
    std::int32_t n_zero = 0, n_perturbed = 0, n_two_by_two = 0;
};

/// Eliminates the task's nodes in order.
void mf_delayed_nodes(DelayedRun& run, DelayedTask& task) noexcept;

} // namespace vyr
