// What the factorization makes of an analysed pattern and its values.
#pragma once

#include "core/analysis.h"
#include "core/status.h"
#include "platform/files.h"

#include <atomic>
#include <cstdint>

namespace vyr {

/// Bits of FactorBlock::flags. FLAG_PAGE_BLOCK (accounting.h) is another one.
enum BlockFlag : std::uint32_t {
    BLOCK_FINISHED = 0x100,   ///< eliminated, and its update has been passed on
    BLOCK_TWO_BY_TWO = 0x200, ///< holds a 2 x 2 pivot
    BLOCK_ASSEMBLED = 0x1000, ///< the input entries are in the block
    BLOCK_WRITTEN = 0x20000   ///< the block is in a factor file
};

/// The factor block of one supernode.
struct FactorBlock {
    double* values;      ///< npiv x (npiv + nupd), column-major, leading dimension npiv; U = L^T; or null
    std::uint64_t bytes; ///< size of a separately allocated block; 0 when it points into lu_values
    std::uint32_t flags; ///< BlockFlag bits
    std::uint32_t file_number; ///< of the factor file that holds the block
    std::uint64_t hash;        ///< of the block as it went to the file
};

/// Work space of the factorization, kept for the next one with other values.
struct FactorWork {
    Buffer<double> task_work;       ///< the tasks' work blocks
    Buffer<double> packed;          ///< the threads' packed operands
    Buffer<std::int32_t> node_work; ///< scratch integers of the tasks, or of the threads

    // Delayed pivots only: the input entries by node, made by mf_list_entries.
    Buffer<std::int32_t> entries, entry_offset;

    // L D L^T without delayed pivots only.
    Buffer<double> front_work;         ///< rows of the largest front before their division
    Buffer<double> work_block;         ///< ldw x ldw: the update of the node at hand
    Buffer<double> update_stack;       ///< mapped core mode: update_stack_peak doubles
    Buffer<std::int32_t> update_nodes; ///< nodes whose update is on the stack, the last one on top
    std::int64_t update_top = 0;       ///< doubles in use on update_stack
    std::int32_t n_update_nodes = 0;
};

/// Factor files, and the memory of a factorization out of core.
struct FactorFiles {
    Buffer<char> directory;          ///< with its terminator; empty: the current one
    std::int32_t count = 0;          ///< next file to write; afterwards the number of files
    std::int64_t max_bytes = 0;      ///< size of the largest file
    std::int64_t doubles = 0;        ///< written to files
    Status status = Status::OK;      ///< or what this run's last flush answered when it wrote nothing
    char trouble[200] = "";          ///< one sentence on that
    platform::DirectoryLock lock;    ///< from the first file on: the names in the directory are this run's
    std::int64_t room_bytes = 0;     ///< most that blocks and read buffer may hold in this run
    std::int64_t held_bytes = 0;     ///< separately allocated blocks, with what their pages cost
    std::int64_t finished_bytes = 0; ///< the part of held_bytes that may go to a file
};

/// A node of a factorization with delayed pivots: its front has more fully summed columns than the analysis
/// knows, those that found no pivot in its children.
///
/// Its block is n_rows x n_eliminated, column-major, leading dimension n_rows: rows are the columns that were
/// eliminated, in order, those that were passed on to the parent, and the update rows. L has a unit diagonal,
/// which is not stored; what is above it is of no account.
struct PivotedNode {
    std::int32_t n_columns = 0;      ///< fully summed: own ones and those the children passed on
    std::int32_t n_eliminated = 0;   ///< those that found a pivot here
    std::int32_t* columns = nullptr; ///< n_columns pivots of the analysis, those eliminated first
    bool owns_columns = false;       ///< `columns` is not a part of Pivoted::columns

    std::int32_t n_delayed() const noexcept { return n_columns - n_eliminated; }
};

/// What a factorization with delayed pivots leaves beside the blocks. Pivots are those of the analysis.
struct Pivoted {
    Buffer<PivotedNode> nodes;    ///< n_snodes
    Buffer<std::int32_t> columns; ///< n: the lists of the nodes that nothing was passed on to
    Buffer<double> beside;        ///< n: entry of D that couples a pivot with the next one; 0 elsewhere
    std::int32_t n_zero = 0;      ///< pivots that are zero, at the end of the roots
    std::int32_t n_perturbed = 0; ///< pivots that were replaced by larger ones
    std::int64_t n_delayed = 0;   ///< columns passed on, once for each node that did
    std::int64_t n_entries = 0;   ///< doubles of Factor::lu_values that blocks take
};

struct BlockStore; // memory/block_store.h

/// A read buffer that waits for the next solve out of core: made by the factorization, so that there is one,
/// lent to one solve at a time. A second solve at the same time makes its own.
class SpareBuffer {
public:
    ~SpareBuffer() { reset(); }
    void reset() noexcept { put(Buffer<char>()); }
    /// Leaves `buffer` here and releases what was here.
    void put(Buffer<char> buffer) noexcept;
    /// Hands the buffer over; an empty one when there is none.
    [[nodiscard]] Buffer<char> take() noexcept;
    std::int64_t bytes() const noexcept { return bytes_.load(std::memory_order_relaxed); }

private:
    std::atomic_flag busy_ = ATOMIC_FLAG_INIT;
    std::atomic<std::int64_t> bytes_{0};
    Buffer<char> buffer_;
};

/// The factor of one matrix. Its analysis and the accounting it was made with must outlive it. Solving only
/// reads it, so that several threads solve with one factor at a time; factorising again needs it alone.
struct Factor {
    Factor(Accounting& accounting, const Analysis& pattern) noexcept
        : memory(&accounting), analysis(&pattern) {}
    ~Factor();
    /// Gives everything back; the object is as new.
    void release() noexcept;
    Factor(const Factor&) = delete;
    Factor& operator=(const Factor&) = delete;

    Accounting* memory;
    const Analysis* analysis;
    Buffer<FactorBlock> blocks;  ///< n_snodes
    Buffer<double> lu_values;    ///< in core only: factor_entries, or more, for pivots that are delayed
    bool lu_values_zero = false; ///< lu_values is fresh from the system and still all zero
    Buffer<double> diag_values;  ///< n, pivot order: diagonal of L; -DBL_MAX where not computed
    Buffer<std::int32_t>
        pivot_index;          ///< n, L D L^T only: chosen row of each pivot, counted from its node's first
    Buffer<double> scale_rhs; ///< n divisors of the right-hand side, caller's numbering; may be empty
    Buffer<double> scale_sol; ///< n divisors of the solution; may be empty
    Buffer<double> scale; ///< n powers of two, caller's numbering: the factor is that of S A S; may be empty
    Pivoted pivoted;      ///< filled by factorizations with delayed pivots alone
    FactorWork work;
    FactorFiles files;
    mutable SpareBuffer read_buffer;
    BlockStore* block_store = nullptr; ///< while a factorization without lu_values runs

    double* block(std::int32_t node) const noexcept { return blocks[node].values; }
    /// Scale of the equation of a pivot of the analysis, or its inverse, as power is 1 or -1; 1 for 0.
    double scale_of_pivot(std::int32_t pivot, int power) const noexcept {
        if (!scale || power == 0) return 1.0;
        const double s = scale[analysis->perm[pivot]];
        return power > 0 ? s : 1.0 / s;
    }
    /// True when `pivoted` says how the blocks are to be read.
    bool has_delayed() const noexcept { return pivoted.nodes.count() > 0; }
    /// Rows of a node's block with delayed pivots.
    std::int32_t n_front_rows(std::int32_t node) const noexcept {
        return pivoted.nodes[node].n_columns + analysis->snodes[node].nupd;
    }
    /// Doubles in a node's finished block.
    std::int64_t block_entries(std::int32_t node) const noexcept {
        return has_delayed() ? std::int64_t{n_front_rows(node)} * pivoted.nodes[node].n_eliminated
                             : analysis->snodes[node].n_entries();
    }
    /// Bytes of memory that blocks take. With delayed pivots lu_values may have room that nothing has
    /// touched.
    double held_bytes() const noexcept {
        const std::int64_t in_core = has_delayed() ? pivoted.n_entries : lu_values.count();
        return static_cast<double>(in_core) * sizeof(double) + static_cast<double>(files.held_bytes);
    }
    /// Forgets the pivots of a factorization with delayed ones.
    void release_pivoted() noexcept;
};

} // namespace vyr
