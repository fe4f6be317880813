// The process-wide state: everything writable that outlives a call and is not owned by an mf_solver.
//
// Defined in process_state.cpp, the one file of the library with writable globals. Data only: this header
// depends on nothing but the platform's records, and every room may include it.
#pragma once

#include "interface/slots.h"
#include "platform/platform.h"

#include <atomic>
#include <cstdint>

namespace vyr {

inline constexpr const char* VERSION_STRING = "VYR_spd 2.2";
inline constexpr int LAPACK_BLOCK_SIZE = 16;

extern double mf_ctrl[CTRL_COUNT]; ///< settings in force, slots of CtrlSlot
extern double mf_info[INFO_COUNT]; ///< status and statistics, slots of InfoSlot

extern double* mf_param;     ///< the caller's parameter array of VYR_init_ld, or null
extern double* mf_scale_rhs; ///< n divisors of the right-hand side, or null; accounted, freed by VYR_clear_ld
extern double* mf_scale_sol; ///< n divisors of the solution, or null; accounted, freed by VYR_clear_ld

extern double mf_value_min; ///< non-zero values below this magnitude draw a warning
extern double mf_value_max; ///< values above this magnitude draw a warning

extern platform::SystemInfo mf_system; ///< platform facts gathered by VYR_init_ld

/// Counters of the accounted allocator. Each is exact; two read together may be from different moments.
extern std::atomic<std::uint64_t> mem_current;  ///< bytes held through mf_malloc
extern std::atomic<double> mem_peak;            ///< largest value of mem_current since VYR_init_ld
extern std::atomic<std::uint64_t> mem_snapshot; ///< mem_current at the last mf_mem_delta
extern std::atomic<std::int32_t> alloc_count;   ///< successful allocations, heap and page
extern std::atomic<std::int32_t> free_count;    ///< releases, heap and page
extern std::atomic<double>
    mem_refused; ///< bytes of the last request that could not be had; 0: none since VYR_init_ld

/// 2 x 2 pivots taken since the library was loaded; deliberately never reset.
extern std::int64_t mf_n_p2;

#ifdef VYR_TEST_HOOKS
/// Seams of the test build: faults on demand and a replaceable memory status.
struct TestHooks {
    std::atomic<std::int64_t> fail_allocation_at{0};       ///< k > 0: the k-th allocation from now fails
    bool fail_every_later_allocation = false;              ///< and so does every one after it
    const platform::MemoryStatus* memory_status = nullptr; ///< shown instead of the machine's
    bool memory_status_fails = false;
    std::uint32_t os_major = 0;                     ///< shown instead of the system's when not 0
    std::atomic<std::int64_t> fail_file_call_at{0}; ///< k > 0: the k-th factor file call from now fails
    bool fail_every_later_file_call = false;        ///< and so does every one after it
};
extern TestHooks mf_test_hooks;
#endif

/// A slot or parameter as an integer: truncated toward zero, saturated at the int range; NaN reads as 0.
constexpr int to_int(double value) noexcept {
    if (value != value) return 0;
    if (value >= 2147483647.0) return 2147483647;
    if (value <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(value);
}

inline int ctrl_int(CtrlSlot slot) noexcept {
    return to_int(mf_ctrl[slot]);
}

/// The status of the last operation.
inline int info_status() noexcept {
    return to_int(mf_info[INFO_STATUS]);
}

inline void set_info_status(int status) noexcept {
    mf_info[INFO_STATUS] = status;
}

/// True when messages and the report body are on.
inline bool messages_on() noexcept {
    return (ctrl_int(CTRL_FLAGS) & 0xff) != 0;
}

} // namespace vyr
