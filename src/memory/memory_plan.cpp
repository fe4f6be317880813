#include "memory/memory_plan.h"

#include "core/faults.h"

#include <algorithm>

namespace vyr {

bool mf_memory_status(const Context& context, platform::MemoryStatus& status) noexcept {
    if (const Faults* faults = context.memory.faults; faults != nullptr) {
        if (faults->memory_status_fails) return false;
        if (faults->memory_status != nullptr) {
            status = *faults->memory_status;
            return true;
        }
    }
    return platform::memory_status(status);
}

Status mf_mem_check(Context& context, double need_bytes, bool lenient, double& ratio_out) noexcept {
    platform::MemoryStatus status;
    if (!mf_memory_status(context, status)) {
        mf_message(context, "\r\nPROMPT!!!\tFailed to get the size of memory and page files.\r\n");
        return Status::OK;
    }
    const double physical = static_cast<double>(status.available_physical);
    const double page_file = static_cast<double>(status.available_page_file);
    const double address_space = static_cast<double>(status.available_virtual);

    if (!lenient && need_bytes > address_space) {
        context.memory.refused = need_bytes;
        mf_message(context, "\r\nERROR!!!\tNeed %6g(Mb) memory . Only %6g(Mb) user space available.\r\n",
                   need_bytes / MEGABYTE, address_space / MEGABYTE);
        return fail(context, Status::FACTOR_STORAGE,
                    "the factor needs %.1f MB and the process has an address space of %.1f MB",
                    need_bytes / MEGABYTE, address_space / MEGABYTE);
    }
    ratio_out = need_bytes / physical;
    if (physical > need_bytes) return Status::OK;

    if (!lenient && need_bytes >= page_file - 10) {
        context.memory.refused = need_bytes;
        mf_message(context, "\r\nERROR!!!\tNeed %6g(Mb) memory . Only have %6g(Mb) page files.\r\n",
                   need_bytes / MEGABYTE, page_file / MEGABYTE);
        return fail(context, Status::FACTOR_STORAGE,
                    "the factor needs %.1f MB and there are %.1f MB of memory and swap",
                    need_bytes / MEGABYTE, page_file / MEGABYTE);
    }
    if (ratio_out > 1.1) {
        mf_message(context,
                   lenient
                       ? "\r\nWARNING!!!\tThe available physical memory is %6g(Mb). Need %6g(Mb) spaces.\r\n"
                       : "\r\nWARNING!!!\tThe available physical memory is %6g(Mb). "
                         "Using %6g(Mb) page files.\r\n",
                   physical / MEGABYTE, (need_bytes - physical) / MEGABYTE);
    }
    return Status::OK;
}

Status mf_ooc_buffer(Context& context, double total_bytes, double reserve_bytes,
                     double& buffer_out) noexcept {
    const double tenth = 0.1 * total_bytes;
    buffer_out = tenth;
    platform::MemoryStatus status;
    if (!mf_memory_status(context, status)) return Status::OK;
    const double physical = static_cast<double>(status.available_physical);

    if (reserve_bytes > physical) {
        mf_message(context, "\r\nWARNING!!!\tThe available physical memory  %6g(Mb) is less than reserved.",
                   physical / MEGABYTE);
        return fail(context, Status::BUFFER,
                    "%.1f MB of memory are available, less than the %.1f MB to be left to others",
                    physical / MEGABYTE, reserve_bytes / MEGABYTE);
    }
    if (physical > 1.2 * total_bytes + reserve_bytes) return Status::OK;

    const double free_bytes = physical - reserve_bytes;
    buffer_out = std::min(tenth, free_bytes);
    if (buffer_out < 0.02 * total_bytes) {
        mf_message(context, "\r\nERROR!!!\tThe available buffer %6g(Mb) is too small.Need %d mmf files.",
                   free_bytes / MEGABYTE, to_int(total_bytes / buffer_out));
        return fail(context, Status::BUFFER,
                    "%.1f MB of memory are too little for the buffer of a factor of %.1f MB",
                    free_bytes / MEGABYTE, total_bytes / MEGABYTE);
    }
    if (buffer_out < 0.05 * total_bytes) {
        mf_message(context,
                   "\r\nWARNING!!!\tThe available buffer %6g(Mb) is too small.The speed will be very slow.",
                   free_bytes / MEGABYTE);
        mf_message(context,
                   "Some options:\r\n\t1.Close other applications.\r\n\t2.Upgarage to 64-bit version."
                   "\r\n\t3.Why not enlarge memory? Its price is so cheap now.");
    }
    return Status::OK;
}

void mf_heap_compact(const Context& context) noexcept {
    if (platform::heap_compact()) return;
    char text[256];
    const int error = platform::last_error();
    platform::error_text(error, text, sizeof text);
    mf_message(context, "%s failed with error %d: %s", "ORNE_HeapCompact", error, text);
}

void mf_alloc_failed(const Context& context, double bytes, const char* context_text) noexcept {
    mf_message(context, "\r\nERROR!!!Failed to allocate %g(M) memory.Error code=%d", bytes / MEGABYTE,
               platform::last_error());
    mf_message(context, "\r\n\t%s.", context_text);
    platform::MemoryStatus status;
    if (!mf_memory_status(context, status)) return;
    mf_message(context, "\r\n\tThe physical memory currently available is %g(M).",
               static_cast<double>(status.available_physical) / MEGABYTE);
    mf_message(context, "\r\n\tThe virtual space of the process is %g(M).",
               static_cast<double>(status.available_virtual) / MEGABYTE);
}

} // namespace vyr
