#include "memory/memory_plan.h"

#include "interface/process_state.h"
#include "memory/accounted_alloc.h"
#include "report/console.h"

#include <algorithm>

namespace vyr {

bool mf_memory_status(platform::MemoryStatus& status) noexcept {
#ifdef VYR_TEST_HOOKS
    if (mf_test_hooks.memory_status_fails) return false;
    if (mf_test_hooks.memory_status != nullptr) {
        status = *mf_test_hooks.memory_status;
        return true;
    }
#endif
    return platform::memory_status(status);
}

int mf_mem_check(double need_bytes, bool lenient, double& ratio_out) noexcept {
    platform::MemoryStatus status;
    if (!mf_memory_status(status)) {
        mf_message("\r\nPROMPT!!!\tFailed to get the size of memory and page files.\r\n");
        return 0;
    }
    const double physical = static_cast<double>(status.available_physical);
    const double page_file = static_cast<double>(status.available_page_file);
    const double address_space = static_cast<double>(status.available_virtual);

    if (!lenient && need_bytes > address_space) {
        mem_refused = need_bytes;
        mf_message("\r\nERROR!!!\tNeed %6g(Mb) memory . Only %6g(Mb) user space available.\r\n",
                   need_bytes / MEGABYTE, address_space / MEGABYTE);
        return -1;
    }
    ratio_out = need_bytes / physical;
    if (physical > need_bytes) return 0;

    if (!lenient && need_bytes >= page_file - 10) {
        mem_refused = need_bytes;
        mf_message("\r\nERROR!!!\tNeed %6g(Mb) memory . Only have %6g(Mb) page files.\r\n",
                   need_bytes / MEGABYTE, page_file / MEGABYTE);
        return -1;
    }
    if (ratio_out > 1.1) {
        mf_message(lenient
                       ? "\r\nWARNING!!!\tThe available physical memory is %6g(Mb). Need %6g(Mb) spaces.\r\n"
                       : "\r\nWARNING!!!\tThe available physical memory is %6g(Mb). "
                         "Using %6g(Mb) page files.\r\n",
                   physical / MEGABYTE, (need_bytes - physical) / MEGABYTE);
    }
    return 0;
}

int mf_ooc_buffer(double total_bytes, double reserve_bytes, double& buffer_out) noexcept {
    const double tenth = 0.1 * total_bytes;
    buffer_out = tenth;
    platform::MemoryStatus status;
    if (!mf_memory_status(status)) return 0;
    const double physical = static_cast<double>(status.available_physical);

    if (reserve_bytes > physical) {
        mf_message("\r\nWARNING!!!\tThe available physical memory  %6g(Mb) is less than reserved.",
                   physical / MEGABYTE);
        return -1;
    }
    if (physical > 1.2 * total_bytes + reserve_bytes) return 0;

    const double free_bytes = physical - reserve_bytes;
    buffer_out = std::min(tenth, free_bytes);
    if (buffer_out < 0.02 * total_bytes) {
        mf_message("\r\nERROR!!!\tThe available buffer %6g(Mb) is too small.Need %d mmf files.",
                   free_bytes / MEGABYTE, to_int(total_bytes / buffer_out));
        return -1;
    }
    if (buffer_out < 0.05 * total_bytes) {
        mf_message("\r\nWARNING!!!\tThe available buffer %6g(Mb) is too small.The speed will be very slow.",
                   free_bytes / MEGABYTE);
        mf_message("Some options:\r\n\t1.Close other applications.\r\n\t2.Upgarage to 64-bit version."
                   "\r\n\t3.Why not enlarge memory? Its price is so cheap now.");
    }
    return 0;
}

} // namespace vyr
