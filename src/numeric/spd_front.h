// What both variants of the update of a positive definite front begin with.
#pragma once

#include "core/strips.h"
#include "core/tuning.h"
#include "numeric/dense_cholesky.h"
#include "numeric/spd.h"

namespace vyr {

/// A node with its block.
struct SpdFront {
    const mf_snode& node;
    double* block;
    bool shared; ///< other threads should be offered a part of the work

    SpdFront(const Factor& factor, std::int32_t s, const SpdTask& task) noexcept
        : node(factor.analysis->snodes[s]),
          block(factor.block(s)),
          shared(!task.alone && static_cast<double>(node.npiv) * node.nupd * (node.npiv + node.nupd) >=
                                    tuning::SHARED_FRONT_FLOPS) {}

    /// Column `j` of the coupling block.
    double* coupling_column(std::int32_t j) const noexcept {
        return node.coupling(block) + static_cast<std::int64_t>(j) * node.npiv;
    }
};

/// Solves the coupling block with the factored pivot block.
inline void mf_solve_coupling(const SpdTask& task, const SpdFront& front) noexcept {
    const mf_snode& node = front.node;
    for_strips(node.nupd, strip_width(node.nupd, front.shared), front.shared,
               [&](std::int32_t begin, std::int32_t end) noexcept {
                   if (mf_stop(*task.context)) return; // the node ends CANCELLED
                   mf_dense_solve(*task.loops, *task.kernel, node.npiv, front.block, node.npiv, end - begin,
                                  front.coupling_column(begin), node.npiv);
               });
}

} // namespace vyr
