#include "memory/accounted_alloc.h"

#include "interface/process_state.h"
#include "memory/memory_plan.h"
#include "report/console.h"

namespace vyr {

namespace {

void raise_peak(double held) noexcept {
    double peak = mem_peak.load(std::memory_order_relaxed);
    while (held > peak && !mem_peak.compare_exchange_weak(peak, held, std::memory_order_relaxed)) {
    }
}

void count_block(void* block) noexcept {
    const std::uint64_t size = platform::heap_usable_size(block);
    const std::uint64_t held = mem_current.fetch_add(size, std::memory_order_relaxed) + size;
    alloc_count.fetch_add(1, std::memory_order_relaxed);
    raise_peak(static_cast<double>(held));
}

/// The answer to a request that cannot be met.
void* refuse(std::size_t bytes) noexcept {
    mem_refused.store(static_cast<double>(bytes), std::memory_order_relaxed);
    return nullptr;
}

/// The seam where the test build makes allocations fail on demand.
bool fails_on_demand() noexcept {
#ifdef VYR_TEST_HOOKS
    std::int64_t left = mf_test_hooks.fail_allocation_at.load();
    while (left > 0 && !mf_test_hooks.fail_allocation_at.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1 && mf_test_hooks.fail_every_later_allocation) mf_test_hooks.fail_allocation_at = 1;
    return left == 1;
#else
    return false;
#endif
}

} // namespace

void* mf_malloc(std::size_t bytes) noexcept {
    void* block = fails_on_demand() ? nullptr : platform::heap_alloc(bytes);
    if (block == nullptr) return refuse(bytes);
    count_block(block);
    return block;
}

void* mf_calloc(std::size_t bytes) noexcept {
    void* block = fails_on_demand() ? nullptr : platform::heap_calloc(bytes);
    if (block == nullptr) return refuse(bytes);
    count_block(block);
    return block;
}

void mf_free(void* block) noexcept {
    if (block == nullptr) return;
    mem_current.fetch_sub(platform::heap_usable_size(block), std::memory_order_relaxed);
    platform::heap_free(block);
    free_count.fetch_add(1, std::memory_order_relaxed);
}

void* mf_page_alloc(std::size_t bytes, std::uint32_t& flags) noexcept {
    if (bytes >= mf_system.page_size && !fails_on_demand()) {
        if (void* block = platform::page_alloc(bytes)) {
            flags |= FLAG_PAGE_BLOCK;
            alloc_count.fetch_add(1, std::memory_order_relaxed);
            raise_peak(static_cast<double>(mem_current.load(std::memory_order_relaxed)));
            return block;
        }
    }
    flags &= ~FLAG_PAGE_BLOCK;
    return mf_malloc(bytes);
}

void mf_page_free(void* block, std::uint32_t flags) noexcept {
    if ((flags & FLAG_PAGE_BLOCK) == 0) {
        mf_free(block);
        return;
    }
    if (block == nullptr) return;
    if (!platform::page_free(block))
        mf_message("\r\nWARNING!!!\tVirtualFree failed with code %d.", platform::last_error());
    free_count.fetch_add(1, std::memory_order_relaxed);
}

double mf_mem_peak() noexcept {
    return mem_peak.load(std::memory_order_relaxed);
}

std::uint64_t mf_mem_delta() noexcept {
    const std::uint64_t held = mem_current.load(std::memory_order_relaxed);
    return held - mem_snapshot.exchange(held, std::memory_order_relaxed);
}

void mf_mem_restart() noexcept {
    mem_snapshot = 0;
    alloc_count = 0;
    free_count = 0;
    mem_refused = 0.0;
    mem_peak = static_cast<double>(mem_current.load());
}

void mf_heap_compact() noexcept {
    if (platform::heap_compact()) return;
    char text[256];
    const int code = platform::last_error();
    platform::error_text(code, text, sizeof text);
    mf_message("%s failed with error %d: %s", "ORNE_HeapCompact", code, text);
}

void mf_alloc_failed(double bytes, const char* context) noexcept {
    mf_message("\r\nERROR!!!Failed to allocate %g(M) memory.Error code=%d", bytes / MEGABYTE,
               platform::last_error());
    mf_message("\r\n\t%s.", context);
    platform::MemoryStatus status;
    if (!mf_memory_status(status)) return;
    mf_message("\r\n\tThe physical memory currently available is %g(M).",
               static_cast<double>(status.available_physical) / MEGABYTE);
    mf_message("\r\n\tThe virtual space of the process is %g(M).",
               static_cast<double>(status.available_virtual) / MEGABYTE);
}

} // namespace vyr
