// What the analysis knows about a pattern: order, trees, supernodes, places of the entries, schedule.
//
// docs/data-structures.md draws every field for one 7 x 7 matrix.
#pragma once

#include "core/buffer.h"

#include <cstdint>

namespace vyr {

/// A pattern by compressed columns, 0-based. Borrowed.
struct Pattern {
    std::int32_t n;
    const std::int32_t* col_ptr; ///< n + 1
    const std::int32_t* row_ind; ///< col_ptr[n]
};

/// A matrix by compressed columns. Borrowed.
struct Matrix : Pattern {
    const double* values; ///< col_ptr[n]
};

/// Bits of mf_snode::flags.
enum NodeFlag : std::uint32_t {
    NODE_PARENT_RUN = 16,      ///< the update rows that fall into the parent's columns are consecutive
    NODE_BELOW_RUN = 32,       ///< the update rows below the parent's columns are contiguous in its row list
    NODE_ALL_IN_PARENT = 64,   ///< every update row falls into the parent's columns
    NODE_NONE_IN_PARENT = 128, ///< no update row falls into the parent's columns
    NODE_SHARED = 0x8000       ///< its update reaches a node of the top task
};

/// One supernode: npiv consecutive pivot columns with a common row structure. Its front has npiv + nupd rows.
struct mf_snode {
    std::int64_t start;       ///< position of the block in the factor storage, doubles
    std::uint32_t flags;      ///< NodeFlag bits
    std::int32_t level;       ///< 0 for a leaf, otherwise 1 + the largest level of the children
    std::int32_t npiv;        ///< width: pivot columns
    std::int32_t nupd;        ///< update rows, the rows below the pivot columns
    std::int32_t child_count; ///< child supernodes
    std::int32_t anc_count;   ///< length of anc_rows; 0 for a root
    const std::int32_t* rows; ///< npiv + nupd row indices: own columns, then the update rows, ascending
    std::int32_t* rel_index;  ///< npiv + nupd; from npiv on: place of each update row in the parent's rows
    std::int32_t* anc_rows;   ///< anc_count: update rows that are columns of the parent, of its parent, ...

    std::int32_t first() const noexcept { return rows[0]; }
    std::int32_t n_rows() const noexcept { return npiv + nupd; }
    std::int64_t n_entries() const noexcept { return static_cast<std::int64_t>(npiv) * (npiv + nupd); }
    const std::int32_t* update_rows() const noexcept { return rows + npiv; }
    /// The coupling block of `block`, npiv x nupd, right behind the pivot block.
    double* coupling(double* block) const noexcept { return block + static_cast<std::int64_t>(npiv) * npiv; }
    const double* coupling(const double* block) const noexcept {
        return block + static_cast<std::int64_t>(npiv) * npiv;
    }
};

/// The tasks of the parallel factorization: independent subtrees, and the top task of all nodes above them.
struct Schedule {
    std::int32_t n_threads = 0;       ///< threads it was made for
    std::int32_t n_tasks = 0;         ///< subtree tasks and the top task, which is the last
    Buffer<std::int32_t> task_offset; ///< n_tasks + 1 positions in task_nodes
    Buffer<std::int32_t> task_nodes;  ///< n_snodes node numbers, ascending within a task
    Buffer<std::int64_t>
        work_offset; ///< 2 n_tasks: work block of each task, whole updates; then blocked ones
    std::int64_t work_entries[2] = {}; ///< doubles in all work blocks, whole updates; blocked ones
    double waiting_entries = 0;        ///< doubles in whole updates that wait for their parents, at most
    double critical_share = 0;         ///< nodes with NODE_SHARED / all nodes
};

/// A cut of the tree for solves: subtrees that threads may take side by side, and the nodes above them. It
/// depends on the tree alone, and the digits of a solution on it, so that they are the same on any number of
/// threads.
struct SolveCut {
    std::int32_t n_subtrees = 0;      ///< 0 where the factor is too small for more than one thread
    std::int32_t n_top = 0;           ///< nodes above the subtrees
    Buffer<std::int32_t> first, root; ///< n_subtrees: a subtree's nodes are first .. root
    Buffer<std::int32_t> top;         ///< n_top, ascending
    Buffer<std::int64_t> owed; ///< n_subtrees + 1: sums of the roots' nupd, the rows beyond the subtrees
    /// n_snodes: where in `rows` the list of a node begins that has rows beyond its subtree t; -1 elsewhere,
    /// the node's own serving. Row k of the root's update rows stands there as n + owed[t] + k.
    Buffer<std::int64_t> list;
    Buffer<std::int32_t> rows;
};

/// Pivots [begin, end) of a node above the subtrees: what one step eliminates, and whose columns receive what
/// others contribute.
struct ColumnPanel {
    std::int32_t node, begin, end;

    std::int32_t n_pivots() const noexcept { return end - begin; }
};

/// The columns of one panel that a subtree or a panel reaches, as places in the row list of its node.
struct ReachedColumns {
    std::int32_t target; ///< panel
    std::int32_t begin, end;
};

/// What a contributor adds to such columns in the block of one node: rows [begin, end) of its row list.
struct Contribution {
    std::int32_t begin, end;
    /// What waits for it: the contribution that comes next to these columns of that block; or the solve
    /// there; or, on the block's diagonal, a panel.
    enum class Next : std::int32_t { CONTRIBUTION, SOLVE, PANEL } next_kind;
    std::int32_t next; ///< its number among `contributions`, `columns` or `panels`
};

/// The elimination of a positive definite matrix as steps that wait for each other: subtrees, which one
/// thread each takes, and the nodes above them in panels of pivots. What some columns of a block receive they
/// receive in the order of the contributors, the subtrees first: whoever does the work, the digits are the
/// same.
struct EliminationGraph {
    std::int32_t n_subtrees = 0, n_panels = 0; ///< both 0 where the tree is work for one thread
    std::int32_t n_columns = 0, n_contributions = 0;
    Buffer<std::int32_t> first, root;   ///< n_subtrees: a subtree's nodes are first .. root
    Buffer<ColumnPanel> panels;         ///< a node's side by side, nodes after their descendants
    Buffer<std::int32_t> column_offset; ///< n_subtrees + n_panels + 1: each contributor's part of `columns`
    Buffer<ReachedColumns> columns;     ///< n_columns, of a contributor ascending
    Buffer<std::int32_t> offset;        ///< n_columns + 1: their part of `contributions`
    Buffer<Contribution> contributions; ///< of the same columns from the contributor's own node up

    std::int32_t n_contributors() const noexcept { return n_subtrees + n_panels; }
};

/// The analysis of one pattern. Made by mf_analyse, immutable afterwards: any number of factors and threads
/// may use it at a time. The accounting it was made with must outlive it.
struct Analysis {
    std::int32_t n = 0;
    std::int32_t n_input = 0; ///< stored entries of the caller's pattern
    std::int32_t n_snodes = 0;
    std::int32_t largest_update = 0;    ///< max nupd
    std::int32_t root_count = 0;        ///< trees in the elimination forest
    std::int32_t max_level = 0;         ///< largest level of a root
    std::int64_t factor_entries = 0;    ///< doubles in the factor storage
    std::int64_t largest_front = 0;     ///< doubles: max n_rows * npiv, or max n_rows * 16 out of core
    std::int64_t update_stack_peak = 0; ///< most doubles alive at once on the update stack
    int ordering = 0;                   ///< the ORDERING_ value that was used
    bool compressed = false;            ///< unknowns of one pattern were ordered together
    bool repeated_entries = false;      ///< several input entries may share a position in value_map
    Buffer<std::int32_t> perm;          ///< n: perm[new] = old
    Buffer<std::int32_t> parent;        ///< n: elimination tree, -1 for roots
    Buffer<std::int64_t> value_map;     ///< n_input: position of each input entry in the factor storage
    Buffer<std::int32_t> column_map;    ///< n: supernode of each column
    Buffer<std::int32_t> snode_parent;  ///< n_snodes, -1 for roots
    Buffer<mf_snode> snodes;            ///< n_snodes, every child before its parent
    Schedule schedule;
    EliminationGraph graph;
    SolveCut solve_cut;

    // Slabs that the supernode records point into.
    Buffer<std::int32_t> row_slab;
    Buffer<std::int32_t> rel_slab;
    Buffer<std::int32_t> anc_slab;

    /// Order of the work blocks' square: the largest update.
    std::int64_t ldw() const noexcept { return largest_update; }
};

/// Operations of eliminating p pivots from a front with a rows and b columns beyond them.
constexpr double mf_flop_count(double p, double a, double b) noexcept {
    return 0.6666 * p * p * p + 2 * p * a * b + (a + b) * p * p;
}

/// Operations of eliminating a symmetric node: half of the unsymmetric count.
inline double mf_node_cost(const mf_snode& node) noexcept {
    return 0.5 * mf_flop_count(node.npiv, node.nupd, node.nupd);
}

} // namespace vyr
