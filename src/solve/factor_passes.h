// The factor in passes of what is in memory at a time: one factor file after the other, then the nodes that
// never went to a file.
#pragma once

#include "interface/status.h"
#include "memory/buffer.h"
#include "solve/ooc_vector.h"
#include "symbolic/solver.h"

#include <cstdint>

namespace vyr {

/// Hands the nodes of a factor out, pass by pass. Descendants come before their ancestors when the passes and
/// each pass's nodes are taken in ascending order, after them in descending order.
///
/// Only between load and drop of a pass do its nodes have blocks. Counts the time spent reading.
class FactorPasses {
public:
    explicit FactorPasses(mf_solver& solver) noexcept;
    ~FactorPasses() = default;
    FactorPasses(const FactorPasses&) = delete;
    FactorPasses& operator=(const FactorPasses&) = delete;

    /// False without memory for the lists.
    explicit operator bool() const noexcept { return static_cast<bool>(work_); }

    std::int32_t count() const noexcept { return solver_.file_count + 1; }

    /// Brings the nodes of a pass into memory and returns their number. A file that cannot be read has none.
    [[nodiscard]] std::int32_t load(std::int32_t pass) noexcept;
    /// The k-th node of the loaded pass.
    const mf_snode& node(std::int32_t k) const noexcept { return solver_.snodes[list_[k]]; }
    /// Forgets the blocks of the loaded pass that lie in the read buffer.
    void drop() noexcept;

    /// Prints the share of the time since construction that went into reading, when there are files and
    /// messages are on.
    void report() const noexcept;

private:
    mf_solver& solver_;
    Buffer<std::int32_t> work_;
    std::int32_t* list_ = nullptr;           ///< n_snodes: nodes of the loaded pass
    std::int32_t* node_of_column_ = nullptr; ///< n: node of each first pivot column, -1 elsewhere
    std::int32_t n_loaded_ = 0;
    double start_ms_, reading_ms_ = 0;
};

/// Solves for one vector x of n doubles in the caller's numbering, in place: forward(node, w) for every node
/// with descendants first, then backward(node, w) with ancestors first, on the vector w in pivot order.
///
/// Returns 0, or -29 with x as it was. The contents of x are free for the sweeps' own use meanwhile.
template <typename Forward, typename Backward>
[[nodiscard]] Status run_sweeps(mf_solver& solver, double* x, const Forward& forward,
                                const Backward& backward) noexcept {
    FactorPasses passes(solver);
    double* w = passes ? mf_gather(solver, x) : nullptr;
    if (w == nullptr) return VYR_ERR_MEMORY;
    for (std::int32_t pass = 0; pass < passes.count(); ++pass) {
        const std::int32_t n_nodes = passes.load(pass);
        for (std::int32_t k = 0; k < n_nodes; ++k) forward(passes.node(k), w);
        passes.drop();
    }
    for (std::int32_t pass = passes.count() - 1; pass >= 0; --pass) {
        for (std::int32_t k = passes.load(pass) - 1; k >= 0; --k) backward(passes.node(k), w);
        passes.drop();
    }
    mf_scatter(solver, x);
    passes.report();
    return VYR_OK;
}

} // namespace vyr
