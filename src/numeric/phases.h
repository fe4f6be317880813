// The numeric factorization of an analysed matrix, and its steps.
#pragma once

#include "core/context.h"
#include "core/factor.h"

#include <cstdint>

namespace vyr {

/// Factorises with the given values by the type in force (11: L L^T in parallel; 12 and 13: L D L^T, node
/// after node), again if it must be: nothing of an earlier run is left.
///
/// values   n_input doubles, in the order of the analysed pattern
///
/// Needs the storage that mf_alloc_L reserves. Returns OK, FACTOR_STORAGE, MEMORY, NOT_SPD, ILL_CONDITIONED,
/// BUFFER, SMALL_PIVOT, GROWTH or MAPPING. Threads: as many as the settings say, or the schedule was made
/// for.
Status mf_numeric_driver(Context& context, const double* values, Factor& factor) noexcept;

/// Threads of a factorization: the settings' number, or the one the schedule was made for.
inline std::int32_t mf_numeric_threads(const Context& context, const Factor& factor) noexcept {
    const std::int32_t wanted = context.settings.n_threads;
    return wanted > 0 ? wanted : factor.analysis->schedule.n_threads;
}

/// Zeroes the factor values and stores every input entry at its position; of entries that share a position
/// the last one wins. Sets BLOCK_ASSEMBLED on every block.
///
/// values   n_input doubles, in the order of the analysed pattern
///
/// For L L^T it runs on the threads of the factorization, so that fresh pages arrive in parallel; otherwise
/// on the calling thread. Returns OK or CANCELLED.
Status mf_assemble_input(const Context& context, const double* values, Factor& factor) noexcept;

/// Prints every NaN among the factor values and every node without a block, then that the check is done; all
/// of it only when messages are on. Changes nothing.
void mf_lu_init_check(const Log& log, const Factor& factor) noexcept;

/// Factorises L L^T in core by the steps of the elimination graph: no lock on any block, and the same digits
/// on any number of threads. Operations, assembly time and a failed column go to the statistics.
///
/// Returns OK or the status of the failure that comes first in the order of elimination, whatever the number
/// of threads. The input entries must be in the blocks.
Status mf_graph_factor(Context& context, Factor& factor) noexcept;

/// The same by the tasks of the schedule, the subtrees on an OpenMP team, handed out one at a time, then the
/// top task: out of core, or with settings.blocked.
Status mf_task_factor(Context& context, Factor& factor) noexcept;

/// Bytes of work space that they touch beside the factor blocks.
double mf_graph_work_bytes(const Analysis& analysis, std::int32_t n_threads) noexcept;
double mf_task_work_bytes(const Analysis& analysis, std::int32_t n_threads) noexcept;

/// Allocates what the node loop needs and the factor lacks: the pivot record (n ints), the update matrix's
/// work block (ldw x ldw doubles), the undivided rows of the largest front and the list of stacked updates
/// (n_snodes ints); for the mapped core mode the update stack too. The factor keeps it for later runs.
///
/// Returns OK, or MEMORY; what was allocated then stays with the factor.
Status mf_ldlt_prepare(Context& context, Factor& factor) noexcept;

/// The L D L^T factorization: eliminates the nodes first .. last-1 in this order and passes their updates on.
/// A run of several calls starts with first = 0. Needs what mf_ldlt_prepare allocates, and the input entries
/// in the blocks.
///
/// Returns OK, FACTOR_STORAGE when a node has no block, ILL_CONDITIONED when no pivot could be found inside a
/// node. Adds operations and 2 x 2 pivots to the statistics.
Status mf_node_loop(Context& context, Factor& factor, std::int32_t first, std::int32_t last) noexcept;

/// Writes what there is of the factor U to the file "mf_lu_0.mtx" in the current directory: a Matrix Market
/// coordinate file in pivot order, upper triangle, without the nodes that have no block in memory. When
/// it cannot be written, an earlier one stays as it was.
void mf_dump_factor(const Factor& factor) noexcept;

} // namespace vyr
