#include "interface/process_state.h"

namespace vyr {

double mf_ctrl[CTRL_COUNT];
double mf_info[INFO_COUNT];
double* mf_param = nullptr;
double* mf_scale_rhs = nullptr;
double* mf_scale_sol = nullptr;
double mf_value_min = 0.0;
double mf_value_max = 0.0;
platform::SystemInfo mf_system;

std::atomic<std::uint64_t> mem_current{0};
std::atomic<double> mem_peak{0.0};
std::atomic<std::uint64_t> mem_snapshot{0};
std::atomic<std::int32_t> alloc_count{0};
std::atomic<std::int32_t> free_count{0};
std::atomic<double> mem_refused{0.0};

std::int64_t mf_n_p2 = 0;

#ifdef VYR_TEST_HOOKS
TestHooks mf_test_hooks;
#endif

} // namespace vyr
