#include "memory/factor_files.h"

#include "memory/file_calls.h"
#include "memory/memory_plan.h"

#include <algorithm>

namespace vyr {

namespace {

constexpr int UNTIL_BUFFER = 1; ///< the mode of mf_flush_factors that writes until the read buffer fits

bool writable(const FactorBlock& block) noexcept {
    return (block.flags & (BLOCK_FINISHED | BLOCK_WRITTEN)) == BLOCK_FINISHED && block.bytes != 0;
}

/// The count of a record has 31 bits. Ancestors of a node that does not fit must not be written before it,
/// so writing ends there.
bool fits_record(const mf_snode& node) noexcept {
    return node.n_entries() <= INT32_MAX;
}

/// First writable node from `s` on; n_snodes when there is none.
std::int32_t next_writable(const Factor& factor, std::int32_t s) noexcept {
    const std::int32_t n_snodes = factor.analysis->n_snodes;
    while (s < n_snodes && !writable(factor.blocks[s])) ++s;
    return s < n_snodes && fits_record(factor.analysis->snodes[s]) ? s : n_snodes;
}

void print_progress(const Context& context, std::int32_t number, double percent, const char* end) noexcept {
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    const double elapsed_ms = platform::clock_ms() - context.statistics.numeric_start;
    const double share = elapsed_ms > 0 ? context.statistics.t_file_write / elapsed_ms : 1;
    mf_message(context, "\r\t\t Write LU to %s.\t%4.1lf%%\ttime=%4.3g%s", name, percent, share, end);
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

void append(Context& context, const Factor& factor, std::int32_t s, Output& out) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    const std::int32_t key = node.first();
    out.percent = (static_cast<double>(key) + node.npiv) * 100 / factor.analysis->n;
    const auto count = static_cast<std::int32_t>(node.n_entries());
    out.failed = mf_lu_file(context, factor, out.file, factor.files.count, key, count, factor.block(s),
                            out.percent, FILE_APPEND) != Status::OK;
    if (out.failed) return;
    const std::int64_t size = mf_file_tell(context.memory.faults, out.file);
    out.failed = size < 0;
    if (out.failed) return;
    out.bytes = size;
    out.pending += mf_block_cost(factor.blocks[s].bytes);
    out.end = s + 1;
}

/// Writes nodes from `s` on until the file is full or, from the second file of a flush on, the read buffer
/// can be had. Returns the node to go on with.
std::int32_t fill(Context& context, Factor& factor, std::int32_t s, std::int64_t limit, int mode,
                  bool first_file, Output& out) noexcept {
    out.begin = out.end = s;
    for (; s < factor.analysis->n_snodes; s = next_writable(factor, s + 1)) {
        append(context, factor, s, out);
        if (out.failed) return s;
        if (out.bytes <= limit && first_file) continue;
        if (mode == UNTIL_BUFFER) {
            factor.files.max_bytes = std::max(factor.files.max_bytes, out.bytes);
            out.enough = mf_obtain_read_buffer(factor, out.pending) == Status::OK;
        } else {
            out.enough = true;
        }
        if (out.enough || out.bytes > limit) return next_writable(factor, s + 1);
    }
    out.enough = true;
    return s;
}

/// The file is safe on disk: gives the memory of its nodes back and counts it.
void commit(const Context& context, Factor& factor, const Output& out) noexcept {
    FactorFiles& files = factor.files;
    for (std::int32_t s = out.begin; s < out.end; ++s) {
        FactorBlock& block = factor.blocks[s];
        if (!writable(block)) continue;
        files.finished_bytes -= mf_block_cost(block.bytes);
        files.doubles += factor.analysis->snodes[s].n_entries();
        mf_release_block(factor, s);
        block.flags |= BLOCK_WRITTEN;
        block.file_number = static_cast<std::uint32_t>(files.count);
    }
    mf_heap_compact(context);
    files.max_bytes = std::max(files.max_bytes, out.bytes);
    ++files.count;
}

/// One file from `s` on; advances `s` behind its nodes and sets `enough`.
Status write_file(Context& context, Factor& factor, std::int32_t& s, std::int64_t limit, int mode,
                  bool first_file, double& percent, bool& enough) noexcept {
    Output out;
    out.percent = percent;
    const std::int32_t number = factor.files.count;
    const std::int64_t largest = factor.files.max_bytes;
    out.failed =
        mf_lu_file(context, factor, out.file, number, 0, 0, nullptr, percent, FILE_OPEN) != Status::OK;
    if (!out.failed) s = fill(context, factor, s, limit, mode, first_file, out);
    const Status closed =
        mf_lu_file(context, factor, out.file, number, 0, 0, nullptr, out.percent, FILE_CLOSE);
    percent = out.percent;
    enough = out.enough;
    if (out.bytes == 0) return Status::EMPTY_FILE;
    if (out.failed || closed != Status::OK) {
        // The read buffer may have counted on the memory of this file's nodes, which they keep.
        mf_release_read_buffer(factor);
        factor.files.max_bytes = largest;
        return Status::FACTOR_FILE;
    }
    commit(context, factor, out);
    return Status::OK;
}

} // namespace

Status mf_lu_file(Context& context, const Factor& factor, std::FILE*& file, std::int32_t number,
                  std::int32_t key, std::int32_t count, const double* block, double percent,
                  int operation) noexcept {
    Faults* faults = context.memory.faults;
    if (operation == FILE_OPEN) {
        file = mf_file_open(faults, factor.files.directory.get(), number, "wb");
        if (file == nullptr) return Status::FACTOR_FILE;
        if (number == 0) mf_message(context, "\n");
        print_progress(context, number, percent, "...");
        return Status::OK;
    }
    if (file == nullptr) return Status::FACTOR_FILE;
    if (operation == FILE_APPEND) {
        const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(double);
        const bool whole = mf_file_write(faults, file, &key, sizeof key) &&
                           mf_file_write(faults, file, &count, sizeof count) &&
                           mf_file_write(faults, file, block, bytes);
        return whole ? Status::OK : Status::FACTOR_FILE;
    }
    const bool closed = mf_file_close(faults, file);
    file = nullptr;
    mf_heap_compact(context);
    print_progress(context, number, percent, ".   \n");
    return closed ? Status::OK : Status::FACTOR_FILE;
}

Status mf_flush_factors(Context& context, Factor& factor, std::int64_t file_limit_bytes, int mode) noexcept {
    const double start_ms = platform::clock_ms();
    std::int32_t s = next_writable(factor, 0);
    if (s == factor.analysis->n_snodes) return Status::NOTHING_TO_FLUSH;
    double percent = 0;
    bool first_file = true, enough = false;
    Status status = Status::OK;
    while (status == Status::OK && !enough) {
        status = factor.files.count > LAST_FACTOR_FILE
                     ? Status::NOTHING_TO_FLUSH
                     : write_file(context, factor, s, file_limit_bytes, mode, first_file, percent, enough);
        first_file = false;
        // The blocks of a file are released only once it is closed; that may have been what was missing.
        if (status == Status::OK && !enough) enough = mf_obtain_read_buffer(factor, 0) == Status::OK;
    }
    context.statistics.t_file_write += platform::clock_ms() - start_ms;
    return status;
}

std::int64_t mf_block_cost(std::uint64_t bytes) noexcept {
    const std::uint64_t page = platform::page_size();
    // Page blocks keep a few bytes of their own in front.
    return static_cast<std::int64_t>(bytes < page ? bytes : (bytes / page + 2) * page);
}

void mf_release_block(Factor& factor, std::int32_t node) noexcept {
    FactorBlock& block = factor.blocks[node];
    if (block.bytes == 0) return;
    mf_page_free(*factor.memory, block.values, block.flags);
    factor.files.held_bytes -= mf_block_cost(block.bytes);
    block.values = nullptr;
    block.bytes = 0;
    block.flags &= ~FLAG_PAGE_BLOCK;
}

void mf_reset_factor_files(Context& context, Factor& factor) noexcept {
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s) {
        FactorBlock& block = factor.blocks[s];
        mf_release_block(factor, s);
        if (!factor.lu_values) block.values = nullptr;
        block.flags &= ~std::uint32_t{BLOCK_FINISHED | BLOCK_ASSEMBLED | BLOCK_WRITTEN};
    }
    mf_release_read_buffer(factor);
    factor.files = FactorFiles();
    context.statistics.t_file_write = 0;
}

} // namespace vyr
