// Reading factor files back. A file is judged as a whole before any block points into it: the directory may
// hold files of another run.
#include "interface/status.h"
#include "memory/factor_files.h"
#include "memory/file_calls.h"

#include <cstring>

namespace vyr {

namespace {

constexpr std::int64_t RECORD_HEADER = 8;

struct RecordHeader {
    std::int32_t key;
    std::int32_t count;
};

/// The whole file into the read buffer; its size, or -1.
std::int64_t read_file(const mf_solver& solver, std::int32_t number) noexcept {
    std::FILE* file = mf_file_open(number, "rb");
    if (file == nullptr) return -1;
    std::int64_t size = mf_file_seek(file, 0, SEEK_END) ? mf_file_tell(file) : -1;
    const bool fits = size <= solver.file_max_bytes && size <= solver.file_buffer_bytes;
    if (!fits || !mf_file_seek(file, 0, SEEK_SET)) size = -1;
    if (size > 0 && !mf_file_read(file, solver.file_buffer, static_cast<std::size_t>(size))) size = -1;
    // Nothing was written, so a failing close loses nothing.
    (void)mf_file_close(file);
    return size;
}

RecordHeader header_at(const mf_solver& solver, std::int64_t offset) noexcept {
    RecordHeader header;
    std::memcpy(&header, static_cast<const char*>(solver.file_buffer) + offset, sizeof header);
    return header;
}

/// The node of a record, or -1 when this factorization wrote no such record to this file.
std::int32_t node_of(const mf_solver& solver, std::int32_t number, const RecordHeader& header,
                     const std::int32_t* node_of_column) noexcept {
    if (header.key < 0 || header.key >= solver.n) return -1;
    const std::int32_t s = node_of_column[header.key];
    if (s < 0) return -1;
    const mf_snode& node = solver.snodes[s];
    const bool written_here =
        (node.flags & NODE_WRITTEN) != 0 && node.file_number == static_cast<std::uint32_t>(number);
    return written_here && node.n_entries() == header.count ? s : -1;
}

/// Lists the nodes of the records in the first `size` bytes of the buffer; their number, or -1.
std::int32_t list_nodes(const mf_solver& solver, std::int32_t number, std::int64_t size,
                        const std::int32_t* node_of_column, std::int32_t* node_list) noexcept {
    std::int32_t n_records = 0, previous = -1;
    for (std::int64_t offset = 0; offset < size;) {
        if (size - offset < RECORD_HEADER) return -1;
        const RecordHeader header = header_at(solver, offset);
        const std::int32_t s = node_of(solver, number, header, node_of_column);
        if (s <= previous) return -1; // also keeps the list from growing past the number of nodes
        offset += RECORD_HEADER + static_cast<std::int64_t>(header.count) * 8;
        node_list[n_records++] = previous = s;
        if (offset > size) return -1;
    }
    return n_records;
}

} // namespace

int mf_load_factor_file(mf_solver& solver, std::int32_t number, const std::int32_t* node_of_column,
                        std::int32_t* node_list, void*& buffer_out) noexcept {
    buffer_out = solver.file_buffer;
    const std::int64_t size = read_file(solver, number);
    if (size < 0) return VYR_ERR_FACTOR_FILE;
    const std::int32_t n_records = list_nodes(solver, number, size, node_of_column, node_list);
    if (n_records < 0) return VYR_ERR_FACTOR_FILE;
    auto* record = static_cast<char*>(solver.file_buffer);
    for (std::int32_t k = 0; k < n_records; ++k) {
        mf_snode& node = solver.snodes[node_list[k]];
        node.factor_block = reinterpret_cast<double*>(record + RECORD_HEADER);
        record += RECORD_HEADER + node.n_entries() * 8;
    }
    return n_records;
}

} // namespace vyr
