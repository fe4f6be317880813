#include "symbolic/supernodes.h"

#include "memory/buffer.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr double ZERO_TOLERANCE = 0.01; ///< explicit zeros a merge may add, as a share of the square front

/// Decides column by column whether the supernode under construction ends. Products are 32-bit and wrap; they
/// are formed unsigned and read as signed.
class MergeRule {
public:
    explicit MergeRule(const mf_solver& solver) noexcept : solver_(solver) {}

    /// Takes `col` into the supernode; true when it is its last column.
    bool ends_at(std::int32_t col) noexcept {
        ++width_;
        const bool ends = !extends(col);
        if (ends) {
            width_ = 0;
            zeros_ = 0;
        }
        return ends;
    }

private:
    bool extends(std::int32_t col) noexcept {
        const std::int32_t next = col + 1;
        if (next == solver_.n || solver_.parent[col] != next || solver_.child_count[next] == 0) return false;
        if (width_ >= static_cast<std::uint32_t>(MAX_SUPERNODE_WIDTH)) return false;
        const auto count = static_cast<std::uint32_t>(solver_.column_count[col]);
        const auto next_count = static_cast<std::uint32_t>(solver_.column_count[next]);
        zeros_ += 2 * width_ * (next_count - count + 1);
        const std::uint32_t side = width_ + next_count;
        const auto zeros = static_cast<std::int32_t>(zeros_);
        const auto rest = static_cast<std::int32_t>(side * side - zeros_);
        return !(zeros > ZERO_TOLERANCE * rest && width_ >= 2);
    }

    const mf_solver& solver_;
    std::uint32_t width_ = 0;
    std::uint32_t zeros_ = 0;
};

/// Links every supernode to the one that holds the parent of its last column, and sets the levels.
void link_tree(mf_solver& solver) noexcept {
    std::int32_t end = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        end += node.npiv;
        const std::int32_t p = solver.parent[end - 1];
        if (p == -1) {
            solver.snode_parent[s] = -1;
            solver.max_level = std::max(solver.max_level, node.level);
        } else {
            const std::int32_t above = solver.column_map[p];
            solver.snode_parent[s] = above;
            mf_snode& parent = solver.snodes[above];
            parent.level = std::max(parent.level, node.level + 1);
            ++parent.child_count;
        }
    }
}

} // namespace

// J. W. H. Liu, E. G. Ng and B. W. Peyton, "On finding supernodes for sparse matrix computations", SIAM J.
// Matrix Anal. Appl. 14 (1993), with chains relaxed as long as few explicit zeros are added. Inside a chain
// the rows below the last column are the rows below the supernode, so its size follows from one column count.
bool mf_supernodes(mf_solver& solver) noexcept {
    const std::int32_t n = solver.n;
    solver.column_map = mf_array<std::int32_t>(n);
    if (solver.column_map == nullptr) return false;
    MergeRule rule(solver);
    solver.n_snodes = 0;
    for (std::int32_t col = 0; col < n; ++col) {
        solver.column_map[col] = solver.n_snodes;
        if (rule.ends_at(col)) ++solver.n_snodes;
    }

    solver.snodes = mf_array<mf_snode>(solver.n_snodes);
    if (solver.snodes == nullptr) return false;
    std::fill_n(solver.snodes, solver.n_snodes, mf_snode{}); // before anything can fail: release walks them
    solver.snode_parent = mf_array<std::int32_t>(solver.n_snodes);
    if (solver.snode_parent == nullptr) return false;
    for (std::int32_t col = 0; col < n; ++col) {
        mf_snode& node = solver.snodes[solver.column_map[col]];
        ++node.npiv;
        node.nupd = solver.column_count[col] - 1; // the last column's value stays
    }
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        mf_snode& node = solver.snodes[s];
        node.start = solver.factor_entries;
        solver.factor_entries += node.n_entries();
        solver.largest_update = std::max(solver.largest_update, node.nupd);
    }
    link_tree(solver);
    return true;
}

} // namespace vyr
