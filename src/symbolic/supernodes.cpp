#include "core/tuning.h"
#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr std::int32_t MAX_SUPERNODE_WIDTH = 1024; ///< pivot columns; one more to end with a pair
constexpr double ZERO_TOLERANCE = 0.01; ///< explicit zeros a merge may add, as a share of the square front

/// Decides column by column whether the supernode under construction ends: not within a pair, which wants a
/// 2 x 2 pivot. Products are 32-bit and wrap; they
/// are formed unsigned and read as signed.
class MergeRule {
public:
    /// partner   as Settings has it
    MergeRule(const Analysis& analysis, const std::int32_t* nonzeros, const std::int32_t* partner) noexcept
        : analysis_(analysis), nonzeros_(nonzeros), partner_(partner) {}

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
        if (next == analysis_.n || analysis_.parent[col] != next) return false;
        const bool pair = partner_ != nullptr && partner_[analysis_.perm[col]] == analysis_.perm[next];
        if (width_ >= static_cast<std::uint32_t>(MAX_SUPERNODE_WIDTH)) return pair;
        const auto count = static_cast<std::uint32_t>(nonzeros_[col]);
        const auto next_count = static_cast<std::uint32_t>(nonzeros_[next]);
        zeros_ += 2 * width_ * (next_count - count + 1);
        const std::uint32_t side = width_ + next_count;
        const auto zeros = static_cast<std::int32_t>(zeros_);
        const auto rest = static_cast<std::int32_t>(side * side - zeros_);
        return pair || !(zeros > ZERO_TOLERANCE * rest && width_ >= 2);
    }

    const Analysis& analysis_;
    const std::int32_t* nonzeros_;
    const std::int32_t* partner_;
    std::uint32_t width_ = 0;
    std::uint32_t zeros_ = 0;
};

/// Links every supernode to the one that holds the parent of its last column, and sets the levels.
void link_tree(Analysis& analysis) noexcept {
    std::int32_t end = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        end += node.npiv;
        const std::int32_t p = analysis.parent[end - 1];
        if (p == -1) {
            analysis.snode_parent[s] = -1;
            analysis.max_level = std::max(analysis.max_level, node.level);
        } else {
            const std::int32_t above = analysis.column_map[p];
            analysis.snode_parent[s] = above;
            mf_snode& parent = analysis.snodes[above];
            parent.level = std::max(parent.level, node.level + 1);
            ++parent.child_count;
        }
    }
}

/// Merges nodes with the last of their children where that saves memory: the entries that it adds are zeros,
/// and one node less is to be kept. `column_map` and n_snodes are those of fewer nodes then.
///
/// C. Ashcraft and R. Grimes, "The influence of relaxed supernode partitions on the multifrontal method", ACM
/// Trans. Math. Softw. 15 (1989). The last child's columns stand right before those of its parent, and its
/// update rows are columns or update rows of the parent.
Status merge_nodes(Context& context, const std::int32_t* nonzeros, Analysis& analysis) noexcept {
    const std::int32_t n = analysis.n;
    Buffer<std::int32_t> first(context.memory, std::int64_t{analysis.n_snodes} + 1);
    if (!first) return out_of_memory(context, Status::FACTOR_STORAGE);
    const auto size = [&](std::int64_t begin, std::int64_t end) { // in doubles, of a node with these columns
        const std::int64_t n_rows = end - begin + nonzeros[end - 1] - 1;
        return (end - begin) * n_rows + n_rows + tuning::NODE_DOUBLES;
    };
    std::int32_t count = 0; // of the nodes so far, merged
    for (std::int32_t begin = 0, end = 0; begin < n; begin = end) {
        while (end < n && analysis.column_map[end] == analysis.column_map[begin]) ++end;
        first[count] = begin;
        while (count > 0 && first[count] > 0) {
            const std::int32_t child = first[count - 1], parent = analysis.parent[first[count] - 1];
            const bool is_child = parent >= first[count] && parent < end;
            if (!is_child || end - child > MAX_SUPERNODE_WIDTH) break;
            if (size(child, end) > size(child, first[count]) + size(first[count], end)) break;
            first[--count] = child;
        }
        first[++count] = end;
    }
    for (std::int32_t s = 0; s < count; ++s)
        std::fill(analysis.column_map.get() + first[s], analysis.column_map.get() + first[s + 1], s);
    analysis.n_snodes = count;
    return Status::OK;
}

} // namespace

// J. W. H. Liu, E. G. Ng and B. W. Peyton, "On finding supernodes for sparse matrix computations", SIAM J.
// Matrix Anal. Appl. 14 (1993), with chains relaxed as long as few explicit zeros are added. Inside a chain
// the rows below the last column are the rows below the supernode, so its size follows from one column count.
Status mf_supernodes(Context& context, const std::int32_t* nonzeros, Analysis& analysis) noexcept {
    const std::int32_t n = analysis.n;
    analysis.column_map = Buffer<std::int32_t>(context.memory, n);
    if (!analysis.column_map) return out_of_memory(context, Status::FACTOR_STORAGE);
    MergeRule rule(analysis, nonzeros, context.settings.partner);
    analysis.n_snodes = 0;
    for (std::int32_t col = 0; col < n; ++col) {
        analysis.column_map[col] = analysis.n_snodes;
        if (rule.ends_at(col)) ++analysis.n_snodes;
    }

    if (context.settings.merge_nodes) {
        const Status status = merge_nodes(context, nonzeros, analysis);
        if (status != Status::OK) return status;
    }
    analysis.snodes = Buffer<mf_snode>(context.memory, analysis.n_snodes, mf_snode{});
    analysis.snode_parent = Buffer<std::int32_t>(context.memory, analysis.n_snodes);
    if (!analysis.snodes || !analysis.snode_parent) return out_of_memory(context, Status::FACTOR_STORAGE);
    for (std::int32_t col = 0; col < n; ++col) {
        mf_snode& node = analysis.snodes[analysis.column_map[col]];
        ++node.npiv;
        node.nupd = nonzeros[col] - 1; // the last column's value stays
    }
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        node.start = analysis.factor_entries;
        analysis.factor_entries += node.n_entries();
        analysis.largest_update = std::max(analysis.largest_update, node.nupd);
    }
    link_tree(analysis);
    return Status::OK;
}

} // namespace vyr
