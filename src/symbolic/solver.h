// The records that cross the phases: one mf_solver per analysed matrix, one mf_snode per supernode.
//
// Plain data. The analysis creates and fills the symbolic fields; the numeric phase fills factor blocks,
// diagonal and pivot record; the solves read. docs/data-structures.md draws every field for one 7 x 7 matrix.
#pragma once

#include <cstdint>

namespace vyr {

/// Bits of mf_snode::flags. FLAG_PAGE_BLOCK (accounted_alloc.h) is another one.
enum NodeFlag : std::uint32_t {
    NODE_PARENT_RUN = 16,      ///< the update rows that fall into the parent's columns are consecutive
    NODE_BELOW_RUN = 32,       ///< the update rows below the parent's columns are contiguous in its row list
    NODE_ALL_IN_PARENT = 64,   ///< every update row falls into the parent's columns
    NODE_NONE_IN_PARENT = 128, ///< no update row falls into the parent's columns
    NODE_FINISHED = 0x100,     ///< eliminated, and its update has been passed on
    NODE_TWO_BY_TWO = 0x200,   ///< holds a 2 x 2 pivot
    NODE_ASSEMBLED = 0x1000,   ///< the input entries are in the block
    NODE_SHARED = 0x8000,      ///< its update reaches a node of the top task
    NODE_WRITTEN = 0x20000     ///< the block is in a factor file
};

struct BlockStore; // numeric/block_store.h

/// One supernode: npiv consecutive pivot columns with a common row structure. Its front has npiv + nupd rows.
struct mf_snode {
    std::int64_t start;        ///< position of the block in the factor storage, doubles
    std::uint32_t flags;       ///< NodeFlag bits
    std::uint32_t file_number; ///< of the factor file that holds the block; 0 after the analysis
    std::int32_t level;        ///< 0 for a leaf, otherwise 1 + the largest level of the children
    std::int32_t npiv;         ///< width: pivot columns
    std::int32_t nupd;         ///< update rows, the rows below the pivot columns
    std::int32_t child_count;  ///< child supernodes
    std::int32_t anc_count;    ///< length of anc_rows; 0 for a root
    std::int32_t* rows;        ///< npiv + nupd row indices: own columns, then the update rows, ascending
    std::int32_t* rel_index;   ///< npiv + nupd; from npiv on: place of each update row in the parent's rows
    std::int32_t* anc_rows;    ///< anc_count: update rows that are columns of the parent, of its parent, ...
    double* factor_block;      ///< npiv x (npiv + nupd), column-major, leading dimension npiv; U = L^T
    std::uint64_t block_bytes; ///< size of a separately allocated block; 0 when it points into lu_values

    std::int32_t first() const noexcept { return rows[0]; }
    std::int32_t n_rows() const noexcept { return npiv + nupd; }
    std::int64_t n_entries() const noexcept { return static_cast<std::int64_t>(npiv) * (npiv + nupd); }
    const std::int32_t* update_rows() const noexcept { return rows + npiv; }
    /// The coupling block, npiv x nupd, right behind the pivot block.
    double* coupling() const noexcept { return factor_block + static_cast<std::int64_t>(npiv) * npiv; }
};

/// One matrix: order, trees, supernodes, factor. Created by mf_symbol, released by mf_release_solver. Every
/// array is accounted and owned by the object.
struct mf_solver {
    // Symbolic fields.
    std::int64_t factor_entries; ///< doubles in the factor storage
    std::int64_t largest_front;  ///< doubles: max n_rows * npiv, or max n_rows * 16 out of core
    std::int64_t* value_map;     ///< n_input: position of each stored input entry in the factor storage
    std::int32_t* snode_work;    ///< n_snodes
    std::int32_t n;              ///< rows
    std::int32_t n_cols;         ///< columns
    std::int32_t n_input;        ///< stored input entries
    std::int32_t n_snodes;
    std::int32_t largest_update;    ///< max nupd
    std::int32_t stack_depth;       ///< most update matrices alive at once on the update stack
    std::int64_t update_stack_peak; ///< most doubles alive at once on the update stack
    std::int32_t max_level;         ///< largest level of a root
    std::int32_t* parent;           ///< n: elimination tree, -1 for roots
    std::int32_t root_count;        ///< trees in the elimination forest
    std::int32_t* child_count;      ///< n; null once the analysis is done
    std::int32_t* column_count;     ///< n; null once the analysis is done
    std::int32_t* node_work;        ///< max(2, 2 m) * n, m the partition count: 2 n scratch integers a task
    std::int32_t* snode_parent;     ///< n_snodes, -1 for roots
    std::int32_t* column_map;       ///< n: supernode of each column
    std::int32_t* perm;             ///< n + 1, the first n used: perm[new] = old
    std::int32_t partition_count;   ///< m: number of tasks, the top task included
    mf_snode* snodes;               ///< n_snodes, every child before its parent
    std::int64_t storage_cursor;    ///< 0 after the analysis
    double* lu_values;              ///< factor_entries, in core only
    double* front_work;             ///< largest_front, L D L^T only
    double* update_stack;           ///< update_stack_peak, mapped core mode only
    double* diag_values;            ///< n, pivot order: diagonal of the factor, -DBL_MAX where not computed

    // Slabs that the supernode records point into.
    std::int32_t* row_slab;
    std::int32_t* rel_slab;
    std::int32_t* anc_slab;

    // Schedule of the parallel factorization.
    std::int32_t n_threads;    ///< OpenMP threads at analysis time
    std::int32_t n_tasks;      ///< subtree tasks and the top task, which is the last
    std::int32_t* task_offset; ///< n_tasks + 1 positions in task_nodes
    std::int32_t* task_nodes;  ///< n_snodes node numbers, ascending within a task
    double** task_work;        ///< n_tasks work blocks inside task_work_block
    double* task_work_block;
    std::int64_t task_work_entries; ///< doubles in task_work_block
    bool task_work_blocked;         ///< the work blocks were sized for the blocked update variant
    double critical_share;          ///< nodes with NODE_SHARED / all nodes

    // Numeric fields.
    bool lu_values_zero;        ///< lu_values is fresh from the system and still all zero
    bool repeated_entries;      ///< several input entries may share a position in value_map
    std::int32_t* pivot_index;  ///< n, L D L^T only: chosen row of each pivot, counted from its node's first
    double* work_block;         ///< ldw x ldw, L D L^T only
    std::int64_t update_top;    ///< doubles in use on update_stack
    std::int32_t* update_nodes; ///< nodes whose update is on the stack, the last one on top
    std::int32_t n_update_nodes;
    std::int32_t map_count; ///< mapped core mode: mappings made
    double map_megabytes;   ///< mapped core mode: size mapped
    void* map_base;         ///< mapped core mode: always null

    // Factor files.
    std::int32_t file_count;     ///< next file to write; afterwards the number of files
    std::int64_t file_max_bytes; ///< size of the largest file
    void* file_buffer;           ///< read buffer of file_max_bytes bytes
    std::int64_t file_buffer_bytes;
    std::int64_t file_doubles; ///< doubles written to files
    std::int32_t file_status;  ///< 0, or what this run's last flush answered when it wrote nothing
    double* solve_work;        ///< n, out-of-core solves only

    // Memory of a factorization out of core.
    std::int64_t
        memory_limit_bytes;  ///< set by the host of the core: most that blocks and read buffer hold; 0: none
    std::int64_t room_bytes; ///< the same for this run, from the machine's memory when the host set none
    std::int64_t held_bytes; ///< separately allocated blocks, with what their pages cost
    std::int64_t finished_bytes; ///< the part of held_bytes that may go to a file
    BlockStore* block_store;     ///< while a factorization without lu_values runs, otherwise null

    /// Order of the work blocks' square: the largest update.
    std::int64_t ldw() const noexcept { return largest_update; }
};

/// A zeroed object with n, n_input, the per-column arrays, the value map and the identity permutation, or
/// null without memory.
[[nodiscard]] mf_solver* mf_create_solver(std::int32_t n, std::int32_t n_input) noexcept;

/// Releases the object and everything it owns. Null is allowed. Factor files stay on disk.
void mf_release_solver(mf_solver* solver) noexcept;

} // namespace vyr
