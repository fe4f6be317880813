#include "core/accounting.h"

#include "core/faults.h"
#include "platform/platform.h"

namespace vyr {

namespace {

void raise_peak(Accounting& memory, double held) noexcept {
    double peak = memory.peak.load(std::memory_order_relaxed);
    while (held > peak && !memory.peak.compare_exchange_weak(peak, held, std::memory_order_relaxed)) {
    }
}

/// Counts a heap block, or remembers the request when there is none.
void* counted(Accounting& memory, void* block, std::size_t bytes) noexcept {
    if (block == nullptr) {
        memory.refused.store(static_cast<double>(bytes), std::memory_order_relaxed);
        return nullptr;
    }
    const std::uint64_t size = platform::heap_usable_size(block);
    const std::uint64_t held = memory.current.fetch_add(size, std::memory_order_relaxed) + size;
    memory.alloc_count.fetch_add(1, std::memory_order_relaxed);
    raise_peak(memory, static_cast<double>(held));
    return block;
}

bool fails_on_demand(const Accounting& memory) noexcept {
    return memory.faults != nullptr && memory.faults->allocation.fails_now();
}

} // namespace

void* mf_malloc(Accounting& memory, std::size_t bytes) noexcept {
    return counted(memory, fails_on_demand(memory) ? nullptr : platform::heap_alloc(bytes), bytes);
}

void* mf_calloc(Accounting& memory, std::size_t bytes) noexcept {
    return counted(memory, fails_on_demand(memory) ? nullptr : platform::heap_calloc(bytes), bytes);
}

void mf_free(Accounting& memory, void* block) noexcept {
    if (block == nullptr) return;
    memory.current.fetch_sub(platform::heap_usable_size(block), std::memory_order_relaxed);
    platform::heap_free(block);
    memory.free_count.fetch_add(1, std::memory_order_relaxed);
}

void* mf_page_alloc(Accounting& memory, std::size_t bytes, std::uint32_t& flags) noexcept {
    if (bytes >= platform::page_size() && !fails_on_demand(memory)) {
        if (void* block = platform::page_alloc(bytes)) {
            flags |= FLAG_PAGE_BLOCK;
            memory.alloc_count.fetch_add(1, std::memory_order_relaxed);
            raise_peak(memory, static_cast<double>(memory.current.load(std::memory_order_relaxed)));
            return block;
        }
    }
    flags &= ~FLAG_PAGE_BLOCK;
    return mf_malloc(memory, bytes);
}

void mf_page_free(Accounting& memory, void* block, std::uint32_t flags) noexcept {
    if ((flags & FLAG_PAGE_BLOCK) == 0) {
        mf_free(memory, block);
        return;
    }
    if (block == nullptr) return;
    if (!platform::page_free(block) && memory.log != nullptr)
        mf_message(*memory.log, "\r\nWARNING!!!\tVirtualFree failed with code %d.", platform::last_error());
    memory.free_count.fetch_add(1, std::memory_order_relaxed);
}

double mf_mem_peak(const Accounting& memory) noexcept {
    return memory.peak.load(std::memory_order_relaxed);
}

std::uint64_t mf_mem_delta(Accounting& memory) noexcept {
    const std::uint64_t held = memory.current.load(std::memory_order_relaxed);
    return held - memory.snapshot.exchange(held, std::memory_order_relaxed);
}

void mf_mem_restart(Accounting& memory) noexcept {
    memory.snapshot = 0;
    memory.alloc_count = 0;
    memory.free_count = 0;
    memory.refused = 0.0;
    memory.peak = static_cast<double>(memory.current.load());
}

} // namespace vyr
