#include "tools/vyr/environment.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace vyr::tool {
namespace {

using Settings = std::map<std::string, std::string>;

/// What is asked for on `kernels` when the user has set `name`.
template <const char* name>
Settings wanted_beside(const char* kernels) {
    const auto settings = missing_settings(kernels, [](const char* asked) -> const char* {
        return std::strcmp(asked, name) == 0 ? "the user's" : nullptr;
    });
    return {settings.begin(), settings.end()};
}

constexpr char NONE[] = "", POLICY[] = "OMP_WAIT_POLICY", SPIN[] = "GOMP_SPINCOUNT",
               CORE[] = "OPENBLAS_CORETYPE";

TEST(Environment, WantsAShortSpinAndFastKernelsAndLeavesTheUserHisWord) {
    EXPECT_EQ(wanted_beside<NONE>("Zen"), (Settings{{SPIN, "1000"}})) << "which OpenBLAS chose itself";
    EXPECT_EQ(wanted_beside<POLICY>("Zen"), Settings{});
    EXPECT_EQ(wanted_beside<SPIN>("Zen"), Settings{});
    EXPECT_EQ(wanted_beside<CORE>("Prescott"), (Settings{{SPIN, "1000"}}));
#if defined(__x86_64__)
    const bool wide = __builtin_cpu_supports("avx512vl");
    const bool known = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    EXPECT_EQ(wanted_beside<SPIN>("Prescott")[CORE], wide ? "SkylakeX" : known ? "Haswell" : "");
#endif
}

} // namespace
} // namespace vyr::tool
