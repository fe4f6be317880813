// Fronts of one shape without a matrix around them: copies of a node, a few of them below each chain
// of ancestors, eliminated by the code of the factorization itself.
#pragma once

#include "core/accounting.h"
#include "core/context.h"
#include "core/factor.h"
#include "numeric/spd.h"

#include <cstdint>

namespace vyr::bench {

/// Seconds of one thread for one node.
struct FrontSeconds {
    double cholesky; ///< of the pivot block
    double solve;    ///< of the coupling block
    double whole;    ///< of the node: both, the update, and what comes with a node
};

class FrontProbe {
public:
    /// Nodes of `n_pivots` and `n_rows` update rows, of which each of `n_ancestors` owns an equal share,
    /// every column of theirs or, `scattered`, every other one. There are too many nodes for the caches.
    /// Throws std::bad_alloc.
    FrontProbe(std::int32_t n_pivots, std::int32_t n_rows, std::int32_t n_ancestors, bool scattered);

    /// Median of `rounds`, each over all nodes.
    FrontSeconds seconds(int rounds);

    /// Seconds of adding one update of this shape that lies finished in memory.
    double pass_seconds(int rounds);

private:
    /// Nodes of one chain: two children, as most nodes have; small ones find what the children of their own
    /// children have left in the caches.
    std::int32_t n_sharing() const;
    /// Node `s`, with its pivots in its row list.
    mf_snode& add(std::int32_t s, std::int32_t n_pivots, std::int32_t n_rows);
    void make_node(std::int32_t s, std::int32_t n_pivots);
    void make_chain(std::int32_t chain);
    void make_factor();

    Accounting memory_;
    Context context_{memory_};
    Analysis analysis_;
    Factor factor_{memory_, analysis_};
    SpdTask task_{context_};
    std::int32_t n_nodes_ = 0, n_rows_, stride_, n_ancestors_;
    std::int32_t n_columns_ = 0; ///< of the nodes added
    std::int64_t n_listed_ = 0;  ///< rows of theirs
    Buffer<std::int32_t> nodes_, scratch_, shares_;
    Buffer<double> packed_;
};

} // namespace vyr::bench
