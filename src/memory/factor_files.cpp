#include "memory/factor_files.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/accounted_alloc.h"
#include "memory/file_calls.h"
#include "report/console.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr int UNTIL_BUFFER = 1; ///< the mode of mf_flush_factors that writes until the read buffer fits

bool writable(const mf_snode& node) noexcept {
    return (node.flags & (NODE_FINISHED | NODE_WRITTEN)) == NODE_FINISHED && node.block_bytes != 0;
}

/// The count of a record has 31 bits. Ancestors of a node that does not fit must not be written before it,
/// so writing ends there.
bool fits_record(const mf_snode& node) noexcept {
    return node.n_entries() <= INT32_MAX;
}

/// First writable node from `s` on; n_snodes when there is none.
std::int32_t next_writable(const mf_solver& solver, std::int32_t s) noexcept {
    while (s < solver.n_snodes && !writable(solver.snodes[s])) ++s;
    return s < solver.n_snodes && fits_record(solver.snodes[s]) ? s : solver.n_snodes;
}

void print_progress(std::int32_t number, double percent, const char* end) noexcept {
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    const double elapsed_ms = platform::clock_ms() - mf_info[INFO_NUMERIC_START];
    const double share = elapsed_ms > 0 ? mf_info[INFO_T_FILE_WRITE] / elapsed_ms : 1;
    mf_message("\r\t\t Write LU to %s.\t%4.1lf%%\ttime=%4.3g%s", name, percent, share, end);
}

/// The file being written and what it holds so far.
struct Output {
    std::FILE* file = nullptr;
    std::int64_t bytes = 0;
    std::int64_t pending = 0; ///< cost of the blocks that are released when the file is safe
    std::int32_t begin = 0;   ///< first node of this file
    std::int32_t end = 0;     ///< behind its last node
    double percent = 0;
    bool failed = false;
    bool enough = false; ///< nothing more needs to be written
};

void append(const mf_solver& solver, std::int32_t s, Output& out) noexcept {
    const mf_snode& node = solver.snodes[s];
    const std::int32_t key = node.first();
    out.percent = (static_cast<double>(key) + node.npiv) * 100 / solver.n;
    const auto count = static_cast<std::int32_t>(node.n_entries());
    out.failed = mf_lu_file(out.file, solver.file_count, key, count, node.factor_block, out.percent,
                            FILE_APPEND) != VYR_OK;
    if (out.failed) return;
    const std::int64_t size = mf_file_tell(out.file);
    out.failed = size < 0;
    if (out.failed) return;
    out.bytes = size;
    out.pending += mf_block_cost(node.block_bytes);
    out.end = s + 1;
}

/// Writes nodes from `s` on until the file is full or, from the second file of a flush on, the read buffer
/// can be had. Returns the node to go on with.
std::int32_t fill(mf_solver& solver, std::int32_t s, std::int64_t limit, int mode, bool first_file,
                  Output& out) noexcept {
    out.begin = out.end = s;
    for (; s < solver.n_snodes; s = next_writable(solver, s + 1)) {
        append(solver, s, out);
        if (out.failed) return s;
        if (out.bytes <= limit && first_file) continue;
        if (mode == UNTIL_BUFFER) {
            solver.file_max_bytes = std::max(solver.file_max_bytes, out.bytes);
            out.enough = mf_obtain_read_buffer(solver, out.pending);
        } else {
            out.enough = true;
        }
        if (out.enough || out.bytes > limit) return next_writable(solver, s + 1);
    }
    out.enough = true;
    return s;
}

/// The file is safe on disk: gives the memory of its nodes back and counts it.
void commit(mf_solver& solver, const Output& out) noexcept {
    for (std::int32_t s = out.begin; s < out.end; ++s) {
        mf_snode& node = solver.snodes[s];
        if (!writable(node)) continue;
        solver.finished_bytes -= mf_block_cost(node.block_bytes);
        solver.file_doubles += node.n_entries();
        mf_release_block(solver, node);
        node.flags |= NODE_WRITTEN;
        node.file_number = static_cast<std::uint32_t>(solver.file_count);
    }
    mf_heap_compact();
    solver.file_max_bytes = std::max(solver.file_max_bytes, out.bytes);
    ++solver.file_count;
}

/// One file from `s` on; advances `s` behind its nodes and sets `enough`.
int write_file(mf_solver& solver, std::int32_t& s, std::int64_t limit, int mode, bool first_file,
               double& percent, bool& enough) noexcept {
    Output out;
    out.percent = percent;
    const std::int32_t number = solver.file_count;
    out.failed = mf_lu_file(out.file, number, 0, 0, nullptr, percent, FILE_OPEN) != VYR_OK;
    if (!out.failed) s = fill(solver, s, limit, mode, first_file, out);
    const int closed = mf_lu_file(out.file, number, 0, 0, nullptr, out.percent, FILE_CLOSE);
    percent = out.percent;
    enough = out.enough;
    if (out.bytes == 0) return VYR_ERR_EMPTY_FILE;
    if (out.failed || closed != VYR_OK) return VYR_ERR_FACTOR_FILE;
    commit(solver, out);
    return VYR_OK;
}

} // namespace

int mf_lu_file(std::FILE*& file, std::int32_t number, std::int32_t key, std::int32_t count,
               const double* block, double percent, int operation) noexcept {
    if (operation == FILE_OPEN) {
        file = mf_file_open(number, "wb");
        if (file == nullptr) return VYR_ERR_FACTOR_FILE;
        if (number == 0) mf_message("\n");
        print_progress(number, percent, "...");
        return VYR_OK;
    }
    if (file == nullptr) return VYR_ERR_FACTOR_FILE;
    if (operation == FILE_APPEND) {
        const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(double);
        const bool whole = mf_file_write(file, &key, sizeof key) &&
                           mf_file_write(file, &count, sizeof count) && mf_file_write(file, block, bytes);
        return whole ? VYR_OK : VYR_ERR_FACTOR_FILE;
    }
    const bool closed = mf_file_close(file);
    file = nullptr;
    mf_heap_compact();
    print_progress(number, percent, ".   \n");
    return closed ? VYR_OK : VYR_ERR_FACTOR_FILE;
}

int mf_flush_factors(mf_solver& solver, std::int64_t file_limit_bytes, int mode) noexcept {
    const double start_ms = platform::clock_ms();
    std::int32_t s = next_writable(solver, 0);
    if (s == solver.n_snodes) return VYR_ERR_NOTHING_TO_FLUSH;
    double percent = 0;
    bool first_file = true, enough = false;
    int status = VYR_OK;
    while (status == VYR_OK && !enough) {
        status = solver.file_count > LAST_FACTOR_FILE
                     ? VYR_ERR_NOTHING_TO_FLUSH
                     : write_file(solver, s, file_limit_bytes, mode, first_file, percent, enough);
        first_file = false;
        // The blocks of a file are released only once it is closed; that may have been what was missing.
        if (status == VYR_OK && !enough) enough = mf_obtain_read_buffer(solver, 0);
    }
    mf_info[INFO_T_FILE_WRITE] += platform::clock_ms() - start_ms;
    return status;
}

} // namespace vyr
