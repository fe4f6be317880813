// The steps of the analysis between the ordered pattern and the schedule, in the order of their calls.
//
// Each takes the fields of the analysis that the steps before it have filled, and fills its own. Those that
// allocate return FACTOR_STORAGE, with the reason in the context, when memory is missing; those that may take
// long return CANCELLED when the call is to end. Those with n_threads run on so many, the others on the
// calling one; what they fill does not depend on it.
#pragma once

#include "core/analysis.h"
#include "core/context.h"
#include "symbolic/pattern.h"

#include <cstdint>

namespace vyr {

/// Columns after which a step that may take long asks whether the call is to end.
inline constexpr std::int32_t COLUMNS_PER_LOOK = 8192;

/// Computes the elimination tree of P A P^T.
///
/// full      both triangles of A, caller's numbering, with or without the diagonal
/// perm      n: perm[new] = old; inverse: n: inverse[old] = new
/// parent    out, n, new numbering: -1 for roots
/// ancestor  scratch, n
///
/// Returns the number of roots. Cost: nearly linear in the entries.
std::int32_t mf_etree(const Pattern& full, const std::int32_t* perm, const std::int32_t* inverse,
                      std::int32_t* parent, std::int32_t* ancestor) noexcept;

/// Renumbers parent and perm to a postorder of the elimination forest. Children are visited in increasing,
/// roots in decreasing order. Cost: linear in n.
[[nodiscard]] Status mf_postorder(Context& context, Analysis& analysis) noexcept;

/// Counts the nonzeros of every column of L, the diagonal included, from n, perm and parent of the analysis.
///
/// full      as for mf_etree
/// inverse   n: inverse[old] = new, of the final (postordered) permutation
/// nonzeros  out, n
///
/// Cost: nearly linear in the entries of the pattern.
[[nodiscard]] Status mf_colcount(Context& context, const Pattern& full, const std::int32_t* inverse,
                                 std::int32_t* nonzeros, const Analysis& analysis) noexcept;

/// Groups consecutive columns into relaxed supernodes and links these to the assembly tree, from the parents
/// and nonzeros (mf_colcount) of the columns alone; pairs of settings.partner are not divided. With
/// settings.merge_nodes, nodes are merged with the last of their children where that saves memory.
///
/// Fills column_map, n_snodes and the records' start, npiv, nupd, level and child_count; snode_parent,
/// max_level, factor_entries and largest_update. Row lists come with mf_factor_positions. Cost: linear in n.
[[nodiscard]] Status mf_supernodes(Context& context, const std::int32_t* nonzeros,
                                   Analysis& analysis) noexcept;

/// Fills the row list of every supernode (row_slab), and value_map for the entries of the input pattern.
///
/// inverse   n: inverse[old] = new
///
/// Cost: one step per row index of a supernode and per entry of the pattern.
[[nodiscard]] Status mf_factor_positions(Context& context, const FullPattern& full,
                                         const std::int32_t* inverse, std::int32_t n_threads,
                                         Analysis& analysis) noexcept;

/// Completes the supernodes once the row lists exist: relative indices and their flags (NODE_PARENT_RUN to
/// NODE_NONE_IN_PARENT), ancestor segments, largest front; adds to statistics.memory_estimate and raises
/// statistics.max_width. Cost: one step per row index and ancestor segment.
[[nodiscard]] Status mf_snode_finish(Context& context, std::int32_t n_threads, Analysis& analysis) noexcept;

/// Sets update_stack_peak (doubles, packed triangles) by replaying the pushes and pops of a factorization.
/// Cost: linear in the supernodes.
[[nodiscard]] Status mf_update_stack(Context& context, Analysis& analysis) noexcept;

/// Makes the schedule: cuts the assembly tree into subtree tasks for settings.n_threads threads, or as many
/// as OpenMP reports, lists each task's nodes, sets NODE_SHARED and sizes the tasks' work blocks. Shows the
/// figures when messages are on. Cost: linear in the supernodes and their ancestor segments.
[[nodiscard]] Status mf_task_partition(Context& context, Analysis& analysis) noexcept;

/// Makes the graph of L L^T: from the schedule's subtrees, or, with settings.tree_schedule, from the tree
/// alone; then for no other type. Returns OK or FACTOR_STORAGE. Cost: linear in the supernodes and the rows
/// of those above the subtrees, times their panels and ancestors.
[[nodiscard]] Status mf_elimination_graph(Context& context, Analysis& analysis) noexcept;

/// Makes solve_cut: the largest subtrees with no more than a share of the factor each. Returns OK or
/// FACTOR_STORAGE. Cost: linear in the supernodes.
[[nodiscard]] Status mf_solve_cut(Context& context, Analysis& analysis) noexcept;

/// Sets schedule.waiting_entries. Returns OK or FACTOR_STORAGE. Cost: linear in the supernodes.
[[nodiscard]] Status mf_waiting_updates(Context& context, Analysis& analysis) noexcept;

} // namespace vyr
