// Reading factor files back. A file is judged as a whole before any block points into it: the directory may
// hold files of another run.
#include "core/hash.h"
#include "memory/factor_files.h"

#include <cstring>
#include <utility>

namespace vyr {

namespace {

struct RecordHeader {
    std::int32_t key;
    std::int32_t count;
};

/// The whole file into the buffer; its size, or -1.
std::int64_t read_file(const Factor& factor, std::int32_t number, char* buffer,
                       std::int64_t buffer_bytes) noexcept {
    Faults* faults = factor.memory->faults;
    std::FILE* file = mf_file_open(faults, factor.files.directory.get(), number);
    if (file == nullptr) return -1;
    std::int64_t size = mf_file_seek(faults, file, 0, SEEK_END) ? mf_file_tell(faults, file) : -1;
    const bool fits = size <= factor.files.max_bytes && size <= buffer_bytes;
    if (!fits || !mf_file_seek(faults, file, 0, SEEK_SET)) size = -1;
    if (size > 0 && !mf_file_read(faults, file, buffer, static_cast<std::size_t>(size))) size = -1;
    std::fclose(file);
    return size;
}

bool written_to(const FactorBlock& block, std::int32_t number) noexcept {
    return (block.flags & BLOCK_WRITTEN) != 0 && block.file_number == static_cast<std::uint32_t>(number);
}

/// The node of a record, or -1 when this factorization wrote no such record to this file.
std::int32_t node_of(const Factor& factor, std::int32_t number, const RecordHeader& header,
                     const std::int32_t* node_of_column) noexcept {
    if (header.key < 0 || header.key >= factor.analysis->n) return -1;
    const std::int32_t s = node_of_column[header.key];
    if (s < 0) return -1;
    const bool same_count = factor.block_entries(s) == header.count;
    return same_count && written_to(factor.blocks[s], number) ? s : -1;
}

/// Lists the nodes of the records in the first `size` bytes of the buffer; their number, or -1.
std::int32_t list_nodes(const Factor& factor, std::int32_t number, const char* buffer, std::int64_t size,
                        const std::int32_t* node_of_column, std::int32_t* node_list) noexcept {
    std::int32_t n_records = 0, previous = -1;
    for (std::int64_t offset = 0; offset < size;) {
        if (size - offset < RECORD_HEADER_BYTES) return -1;
        RecordHeader header;
        std::memcpy(&header, buffer + offset, sizeof header);
        const std::int32_t s = node_of(factor, number, header, node_of_column);
        if (s <= previous) return -1; // also keeps the list from growing past the number of nodes
        const char* block = buffer + offset + RECORD_HEADER_BYTES;
        const std::int64_t block_bytes = static_cast<std::int64_t>(header.count) * 8;
        offset += RECORD_HEADER_BYTES + block_bytes;
        if (offset > size) return -1;
        if (mf_hash(block, static_cast<std::size_t>(block_bytes)) != factor.blocks[s].hash) return -1;
        node_list[n_records++] = previous = s;
    }
    // A file cut off between two records has lost nodes.
    std::int32_t n_written = 0;
    for (std::int32_t s = 0; s < factor.analysis->n_snodes; ++s)
        if (written_to(factor.blocks[s], number)) ++n_written;
    return n_records == n_written ? n_records : -1;
}

} // namespace

Status mf_obtain_read_buffer(Factor& factor, std::int64_t pending_bytes) noexcept {
    const FactorFiles& files = factor.files;
    if (factor.read_buffer.bytes() > 0 && factor.read_buffer.bytes() >= files.max_bytes) return Status::OK;
    mf_release_read_buffer(factor);
    if (files.held_bytes - pending_bytes + files.max_bytes > files.room_bytes) return Status::MEMORY;
    Buffer<char> buffer(*factor.memory, files.max_bytes);
    if (!buffer) return Status::MEMORY;
    factor.read_buffer.put(std::move(buffer));
    return Status::OK;
}

void mf_release_read_buffer(Factor& factor) noexcept {
    factor.read_buffer.reset();
}

Buffer<char> mf_borrow_read_buffer(Context& context, const Factor& factor) noexcept {
    Buffer<char> buffer = factor.read_buffer.take();
    if (buffer && buffer.count() >= factor.files.max_bytes) return buffer;
    buffer.reset();
    buffer = Buffer<char>(*factor.memory, factor.files.max_bytes);
    if (!buffer)
        (void)fail(context, Status::MEMORY,
                   "out of memory: reading the factor files needs a buffer of %.1f MB",
                   static_cast<double>(factor.files.max_bytes) / MEGABYTE);
    return buffer;
}

void mf_return_read_buffer(const Factor& factor, Buffer<char> buffer) noexcept {
    if (buffer) factor.read_buffer.put(std::move(buffer));
}

int mf_load_factor_file(const Factor& factor, std::int32_t number, const std::int32_t* node_of_column,
                        char* buffer, std::int64_t buffer_bytes, std::int32_t* node_list,
                        const double** block_of) noexcept {
    const std::int64_t size = read_file(factor, number, buffer, buffer_bytes);
    if (size < 0) return code(Status::FACTOR_FILE);
    const std::int32_t n_records = list_nodes(factor, number, buffer, size, node_of_column, node_list);
    if (n_records < 0) return code(Status::FACTOR_FILE);
    const char* record = buffer;
    for (std::int32_t k = 0; k < n_records; ++k) {
        const std::int32_t s = node_list[k];
        block_of[s] = reinterpret_cast<const double*>(record + RECORD_HEADER_BYTES);
        record += RECORD_HEADER_BYTES + factor.block_entries(s) * 8;
    }
    return n_records;
}

} // namespace vyr
