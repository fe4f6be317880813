#include "core/context.h"

#include "platform/platform.h"

#include <algorithm>
#include <cstdio>

namespace vyr {

void mf_print(const Log& log, const char* format, ...) noexcept {
    if (log.sink == nullptr) return;
    std::va_list arguments;
    va_start(arguments, format);
    log.sink(log.user, format, arguments);
    va_end(arguments);
}

void mf_message(const Log& log, const char* format, ...) noexcept {
    if (!log.messages || log.sink == nullptr) return;
    std::va_list arguments;
    va_start(arguments, format);
    log.sink(log.user, format, arguments);
    va_end(arguments);
}

void Progress::begin(int phase, double total) noexcept {
    owner_ = std::this_thread::get_id();
    phase_ = phase;
    total_ = total > 0 ? total : 1;
    done_ = 0;
    last_ms_ = 0;
}

void Progress::tell() noexcept {
    const double now_ms = platform::clock_ms();
    if (now_ms - last_ms_ < PROGRESS_INTERVAL_MS || stopped_.load(std::memory_order_relaxed)) return;
    last_ms_ = now_ms;
    if (callback_(user_, phase_, std::clamp(done_.load() / total_, 0.0, 1.0)) != 0) stopped_ = true;
}

Status fail(Context& context, Status status, const char* format, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(context.reason, sizeof context.reason, format, arguments);
    va_end(arguments);
    return status;
}

Status out_of_memory(Context& context, Status status) noexcept {
    const double bytes = context.memory.refused.load();
    if (bytes <= 0) return fail(context, status, "out of memory");
    return fail(context, status, "out of memory: a block of %.3g MB was needed", bytes / MEGABYTE);
}

} // namespace vyr
