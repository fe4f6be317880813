#include "tools/vyr/environment.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>

namespace vyr::tool {
namespace {

/// What missing_settings asks for on the fallback kernels when the user has set `name`.
template <const char* name>
std::map<std::string, std::string> wanted_beside() {
    const auto settings = missing_settings(FALLBACK_KERNELS, [](const char* asked) -> const char* {
        return std::strcmp(asked, name) == 0 ? "the user's" : nullptr;
    });
    return {settings.begin(), settings.end()};
}

constexpr char NONE[] = "", POLICY[] = "OMP_WAIT_POLICY", SPIN[] = "GOMP_SPINCOUNT",
               KERNELS[] = "OPENBLAS_CORETYPE";

TEST(Environment, WantsAShortSpinAndFastKernelsAndLeavesTheUserHisWord) {
    EXPECT_EQ(wanted_beside<NONE>()[SPIN], SPIN_COUNT);
    EXPECT_EQ(wanted_beside<POLICY>().count(SPIN), 0U);
    EXPECT_EQ(wanted_beside<SPIN>().count(SPIN), 0U);
    EXPECT_EQ(wanted_beside<KERNELS>().count(KERNELS), 0U);
    EXPECT_EQ(wanted_beside<KERNELS>()[SPIN], SPIN_COUNT);
#if defined(__x86_64__)
    const bool wide = __builtin_cpu_supports("avx512vl");
    const bool known = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma");
    EXPECT_EQ(wanted_beside<NONE>()[KERNELS], wide ? AVX512_KERNELS : known ? AVX2_KERNELS : "");
#endif
}

TEST(Environment, KeepsKernelsThatOpenBlasChoseItself) {
    EXPECT_EQ(better_kernels("Zen"), "Zen");
    const auto settings = missing_settings("Zen", [](const char*) -> const char* { return nullptr; });
    ASSERT_EQ(settings.size(), 1U);
    EXPECT_STREQ(settings[0].first, SPIN);
}

} // namespace
} // namespace vyr::tool
