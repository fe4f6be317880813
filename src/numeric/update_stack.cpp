#include "numeric/update_passing.h"

#include <algorithm>

namespace vyr {

namespace {

std::int64_t packed_entries(const mf_snode& node) noexcept {
    return std::int64_t{node.nupd} * (std::int64_t{node.nupd} + 1) / 2;
}

/// Calls visit(child, packed update) for each stacked child of `node`, the uppermost first.
template <typename Visit>
void for_each_child(const Factor& factor, const mf_snode& node, Visit visit) noexcept {
    const double* packed = factor.work.update_stack.get() + factor.work.update_top;
    for (std::int32_t c = 0; c < node.child_count; ++c) {
        const mf_snode& child =
            factor.analysis->snodes[factor.work.update_nodes[factor.work.n_update_nodes - 1 - c]];
        packed -= packed_entries(child);
        visit(child, packed);
    }
}

} // namespace

void mf_stack_clear(Factor& factor) noexcept {
    factor.work.update_top = 0;
    factor.work.n_update_nodes = 0;
}

void mf_stack_add_pivots(Factor& factor, std::int32_t node) noexcept {
    const mf_snode& parent = factor.analysis->snodes[node];
    for_each_child(factor, parent, [&](const mf_snode& child, const double* packed) {
        const std::int32_t* place = child.rel_index + child.npiv;
        for (std::int32_t c = 0; c < child.nupd; ++c) {
            double* column = factor.block(node) + std::int64_t{place[c]} * parent.npiv;
            const std::int32_t n_rows = std::min(c + 1, child.anc_rows[0]);
            for (std::int32_t r = 0; r < n_rows; ++r) column[place[r]] += packed[r];
            packed += c + 1;
        }
    });
}

void mf_stack_add_rest(Factor& factor, std::int32_t node) noexcept {
    const mf_snode& parent = factor.analysis->snodes[node];
    for_each_child(factor, parent, [&](const mf_snode& child, const double* packed) {
        const std::int32_t* place = child.rel_index + child.npiv;
        const std::int32_t first = child.anc_rows[0];
        packed += std::int64_t{first} * (std::int64_t{first} + 1) / 2;
        for (std::int32_t c = first; c < child.nupd; ++c) {
            double* column = factor.work.work_block.get() + (place[c] - parent.npiv) * factor.analysis->ldw();
            for (std::int32_t r = first; r <= c; ++r) column[place[r] - parent.npiv] += packed[r];
            packed += c + 1;
        }
    });
    for (std::int32_t c = 0; c < parent.child_count; ++c)
        factor.work.update_top -=
            packed_entries(factor.analysis->snodes[factor.work.update_nodes[--factor.work.n_update_nodes]]);
}

void mf_stack_push(Factor& factor, std::int32_t node) noexcept {
    const mf_snode& snode = factor.analysis->snodes[node];
    if (snode.nupd == 0) return;
    double* top = factor.work.update_stack.get() + factor.work.update_top;
    for (std::int32_t c = 0; c < snode.nupd; ++c)
        top = std::copy_n(factor.work.work_block.get() + c * factor.analysis->ldw(), c + 1, top);
    factor.work.update_top += packed_entries(snode);
    factor.work.update_nodes[factor.work.n_update_nodes++] = node;
}

} // namespace vyr
