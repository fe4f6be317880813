#include "core/factor.h"

namespace vyr {

void SpareBuffer::put(Buffer<char> buffer) noexcept {
    while (busy_.test_and_set(std::memory_order_acquire)) {
    }
    std::swap(buffer, buffer_);
    bytes_.store(buffer_.count(), std::memory_order_relaxed);
    busy_.clear(std::memory_order_release);
}

Buffer<char> SpareBuffer::take() noexcept {
    Buffer<char> taken;
    while (busy_.test_and_set(std::memory_order_acquire)) {
    }
    std::swap(taken, buffer_);
    bytes_.store(0, std::memory_order_relaxed);
    busy_.clear(std::memory_order_release);
    return taken;
}

Factor::~Factor() {
    release();
}

void Factor::release_pivoted() noexcept {
    for (std::int64_t s = 0; s < pivoted.nodes.count(); ++s)
        if (pivoted.nodes[s].owns_columns) mf_free(*memory, pivoted.nodes[s].columns);
    pivoted = Pivoted();
}

void Factor::release() noexcept {
    release_pivoted();
    for (std::int64_t s = 0; s < blocks.count(); ++s)
        if (blocks[s].bytes != 0) mf_page_free(*memory, blocks[s].values, blocks[s].flags);
    blocks.reset();
    lu_values.reset();
    lu_values_zero = false;
    diag_values.reset();
    pivot_index.reset();
    scale_rhs.reset();
    scale_sol.reset();
    scale.reset();
    work = FactorWork();
    files = FactorFiles();
    read_buffer.reset();
}

} // namespace vyr
