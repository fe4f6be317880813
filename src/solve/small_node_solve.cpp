#include "solve/node_steps.h"

namespace vyr {

// Columns of the block are contiguous and visited once, in storage order: both steps stream through the
// factor at memory speed.
void mf_small_forward(const mf_snode& node, const double* block, double* w) noexcept {
    const std::int32_t npiv = node.npiv;
    const double* column = block;
    double* pivots = w + node.first();
    const auto dot = [&](std::int32_t length) {
        double even = 0, odd = 0;
        std::int32_t k = 0;
        for (; k + 1 < length; k += 2) {
            even += column[k] * pivots[k];
            odd += column[k + 1] * pivots[k + 1];
        }
        if (k < length) even += column[k] * pivots[k];
        return even + odd;
    };
    for (std::int32_t k = 0; k < npiv; ++k, column += npiv) pivots[k] = (pivots[k] - dot(k)) / column[k];
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j, column += npiv) w[rows[j]] -= dot(npiv);
}

void mf_small_backward(const mf_snode& node, const double* block, double* w) noexcept {
    const std::int32_t npiv = node.npiv;
    const double* column = node.coupling(block);
    double* pivots = w + node.first();
    const std::int32_t* rows = node.update_rows();
    for (std::int32_t j = 0; j < node.nupd; ++j, column += npiv) {
        const double solved = w[rows[j]];
        for (std::int32_t k = 0; k < npiv; ++k) pivots[k] -= column[k] * solved;
    }
    column = node.coupling(block);
    for (std::int32_t k = npiv - 1; k >= 0; --k) {
        column -= npiv;
        const double solved = pivots[k] /= column[k];
        for (std::int32_t l = 0; l < k; ++l) pivots[l] -= column[l] * solved;
    }
}

} // namespace vyr
