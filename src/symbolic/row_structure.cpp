#include "core/tuning.h"
#include "symbolic/steps.h"
#include "symbolic/tree_sums.h"

namespace vyr {

namespace {

/// Points every record at its part of the slab and writes its own columns there. ends: n_snodes, out: where
/// the lists end so far.
Status place_row_lists(Context& context, Analysis& analysis, Buffer<std::int32_t*>& ends) noexcept {
    std::int64_t n_rows = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) n_rows += analysis.snodes[s].n_rows();
    analysis.row_slab = Buffer<std::int32_t>(context.memory, n_rows);
    ends = Buffer<std::int32_t*>(context.memory, analysis.n_snodes);
    if (!analysis.row_slab || !ends) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* place = analysis.row_slab.get();
    std::int32_t column = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        mf_snode& node = analysis.snodes[s];
        node.rows = place;
        for (std::int32_t c = 0; c < node.npiv; ++c) place[c] = column++;
        ends[s] = place + node.npiv;
        place += node.n_rows();
    }
    return Status::OK;
}

/// The rows of the factor that the entries of a pattern call for.
class Rows {
public:
    Rows(const FullPattern& full, const std::int32_t* inverse, Analysis& analysis,
         Buffer<std::int32_t*>& ends) noexcept
        : full_(full), inverse_(inverse), analysis_(analysis), ends_(ends) {}

    /// Places the rows of nodes [first, last], ascending, unless the call is to end. Reaches the nodes of
    /// their subtrees.
    void place(const Context& context, std::int32_t first, std::int32_t last) noexcept {
        const std::int32_t end = analysis_.snodes[last].first() + analysis_.snodes[last].npiv;
        for (std::int32_t i = analysis_.snodes[first].first(); i < end; ++i) {
            if (i % COLUMNS_PER_LOOK == 0 && mf_stop(context)) return;
            place(i);
        }
    }

private:
    void place(std::int32_t i) noexcept {
        const std::int32_t home = analysis_.column_map[i];
        const std::int32_t column = analysis_.perm[i];
        for (std::int32_t e = full_.col_ptr[column]; e < full_.col_ptr[column + 1]; ++e) {
            const std::int32_t j = inverse_[full_.row_ind[e]];
            if (j > i) continue;
            const std::int32_t owner = analysis_.column_map[j];
            for (std::int32_t s = owner; s != home; s = analysis_.snode_parent[s]) {
                if (ends_[s][-1] == i) break;
                *ends_[s]++ = i;
            }
            const mf_snode& node = analysis_.snodes[owner];
            const std::int64_t place = owner == home ? i - node.first() : ends_[owner] - 1 - node.rows;
            analysis_.value_map[full_.origin[e]] = node.start + place * node.npiv + (j - node.first());
        }
    }

    const FullPattern& full_;
    const std::int32_t* inverse_;
    Analysis& analysis_;
    Buffer<std::int32_t*>& ends_; ///< n_snodes: where the lists end so far
};

/// Subtrees, which several threads may take, and the nodes above them.
struct Cut {
    std::int32_t n_subtrees = 0, n_above = 0;
    Buffer<std::int32_t> first, root, above;

    Status make(Context& context, const Analysis& analysis) noexcept {
        const TreeSums<std::int64_t> rows(context.memory, analysis, [&](std::int32_t s) {
            return std::int64_t{analysis.snodes[s].n_rows()};
        });
        for (Buffer<std::int32_t>* list : {&first, &root, &above})
            *list = Buffer<std::int32_t>(context.memory, analysis.n_snodes);
        if (!rows || !first || !root || !above) return out_of_memory(context, Status::FACTOR_STORAGE);
        const std::int64_t most = analysis.row_slab.count() / tuning::ANALYSIS_SUBTREES;
        const auto found = [&](std::int32_t first_node, std::int32_t root_node) {
            first[n_subtrees] = first_node;
            root[n_subtrees++] = root_node;
        };
        for_each_part(analysis, rows, most, found, [&](std::int32_t s) { above[n_above++] = s; });
        return Status::OK;
    }
};

} // namespace

// Row i of the factor is the subtree of the assembly tree spanned by the row's entries and rooted at the
// supernode of i (Liu, "The role of elimination trees in sparse factorization", SIAM J. Matrix Anal. Appl.
// 11, 1990). Taking the rows in ascending order makes every row list come out sorted, and the place of row i
// in a list is known at the moment it is appended: it gives the entry's factor position at once. The rows of
// a subtree reach no other, and come before those of the nodes above it.
Status mf_factor_positions(Context& context, const FullPattern& full, const std::int32_t* inverse,
                           std::int32_t n_threads, Analysis& analysis) noexcept {
    Buffer<std::int32_t*> ends;
    if (const Status status = place_row_lists(context, analysis, ends); status != Status::OK) return status;
    Rows rows(full, inverse, analysis, ends);
    if (n_threads == 1) {
        rows.place(context, 0, analysis.n_snodes - 1);
        return mf_stop(context) ? Status::CANCELLED : Status::OK;
    }
    Cut cut;
    if (const Status status = cut.make(context, analysis); status != Status::OK) return status;
#pragma omp parallel for schedule(dynamic, 1) num_threads(n_threads)
    for (std::int32_t t = 0; t < cut.n_subtrees; ++t) rows.place(context, cut.first[t], cut.root[t]);
    for (std::int32_t k = 0; k < cut.n_above; ++k) rows.place(context, cut.above[k], cut.above[k]);
    return mf_stop(context) ? Status::CANCELLED : Status::OK;
}

} // namespace vyr
