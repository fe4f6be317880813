#include "memory/factor_files.h"

#include "core/hash.h"
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
bool fits_record(const Factor& factor, std::int32_t s) noexcept {
    return factor.block_entries(s) <= INT32_MAX;
}

/// First writable node from `s` on; n_snodes when there is none.
std::int32_t next_writable(const Factor& factor, std::int32_t s) noexcept {
    const std::int32_t n_snodes = factor.analysis->n_snodes;
    while (s < n_snodes && !writable(factor.blocks[s])) ++s;
    return s < n_snodes && fits_record(factor, s) ? s : n_snodes;
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
    platform::OutputFile file;
    std::int64_t bytes = 0;
    std::int64_t pending = 0; ///< cost of the blocks that are released when the file is safe
    std::int32_t begin = 0;   ///< first node of this file
    std::int32_t end = 0;     ///< behind its last node
    double percent = 0;
    bool failed = false;
    bool enough = false; ///< nothing more needs to be written
};

void append(Context& context, Factor& factor, std::int32_t s, Output& out) noexcept {
    const mf_snode& node = factor.analysis->snodes[s];
    const std::int32_t key = node.first();
    out.percent = (static_cast<double>(key) + node.npiv) * 100 / factor.analysis->n;
    const auto count = static_cast<std::int32_t>(factor.block_entries(s));
    out.failed = mf_lu_file(context, factor, out.file, factor.files.count, key, count, factor.block(s),
                            out.percent, FILE_APPEND) != Status::OK;
    if (out.failed) return;
    const std::size_t block_bytes = static_cast<std::size_t>(count) * sizeof(double);
    factor.blocks[s].hash = mf_hash(factor.block(s), block_bytes);
    out.bytes += RECORD_HEADER_BYTES + static_cast<std::int64_t>(block_bytes);
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
        files.doubles += factor.block_entries(s);
        mf_release_block(factor, s);
        block.flags |= BLOCK_WRITTEN;
        block.file_number = static_cast<std::uint32_t>(files.count);
    }
    mf_heap_compact(context);
    files.max_bytes = std::max(files.max_bytes, out.bytes);
    ++files.count;
}

/// Makes the names in the directory this factor's own until it starts afresh or goes.
Status claim_directory(Context& context, FactorFiles& files) noexcept {
    const char* directory = files.directory ? files.directory.get() : ".";
    if (files.lock.take(directory)) return Status::OK;
    return fail(context, Status::FACTOR_FILE, "the factor files of another run are in %.150s", directory);
}

/// The sentence on a step of a factor file that failed.
Status file_failure(Context& context, const Factor& factor, std::int32_t number) noexcept {
    char path[FILE_PATH_BYTES], why[64];
    platform::error_text(platform::last_error(), why, sizeof why);
    (void)mf_file_path(factor.files.directory.get(), number, path);
    return fail(context, Status::FACTOR_FILE, "%.160s: %s", path, why);
}

/// One file from `s` on; advances `s` behind its nodes and sets `enough`.
Status write_file(Context& context, Factor& factor, std::int32_t& s, std::int64_t limit, int mode,
                  bool first_file, double& percent, bool& enough) noexcept {
    Output out;
    const std::int32_t number = factor.files.count;
    const std::int64_t largest = factor.files.max_bytes;
    if (const Status status = claim_directory(context, factor.files); status != Status::OK) return status;
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

Status mf_lu_file(Context& context, const Factor& factor, platform::OutputFile& file, std::int32_t number,
                  std::int32_t key, std::int32_t count, const double* block, double percent,
                  int operation) noexcept {
    Faults* faults = context.memory.faults;
    if (operation == FILE_OPEN) {
        if (!mf_file_create(faults, factor.files.directory.get(), number, file))
            return file_failure(context, factor, number);
        if (number == 0) mf_message(context, "\n");
        print_progress(context, number, percent, "...");
        return Status::OK;
    }
    if (file.stream() == nullptr) return Status::FACTOR_FILE;
    if (operation == FILE_APPEND) {
        const std::int32_t header[] = {key, count};
        const bool whole =
            mf_file_write(faults, file, header, sizeof header) &&
            mf_file_write(faults, file, block, static_cast<std::size_t>(count) * sizeof(double));
        return whole ? Status::OK : file_failure(context, factor, number);
    }
    const Status status = mf_file_commit(faults, file) ? Status::OK : file_failure(context, factor, number);
    mf_heap_compact(context);
    print_progress(context, number, percent, ".   \n");
    return status;
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
