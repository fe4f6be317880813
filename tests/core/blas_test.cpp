// The library's own BLAS on a processor that it does not know.
#include "platform/blas.h"
#include "platform/blas_build.h"
#include "platform/blas_kernels.h"

#include <gtest/gtest.h>

using namespace vyr;

TEST(OwnBlas, IsTakenFromItsFallbackToTheKernelsOfTheProcessorAndMultipliesOnBoth) {
    const auto expect = [](const char* kernels) {
        EXPECT_STREQ(blas::kernels_text(), kernels);
        const double a[] = {1, 3, 2, 4}, b[] = {5, 7, 6, 8};
        double c[4] = {};
        blas::gemm('N', 'T', 2, 2, 2, 1.0, a, 2, b, 2, 0.0, c, 2);
        EXPECT_TRUE(c[0] == 17 && c[1] == 39 && c[2] == 23 && c[3] == 53);
    };
    (void)blas::findings();
    blas::restart_kernels(blas::FALLBACK_KERNELS);
    expect(blas::FALLBACK_KERNELS);
    const char* const better = blas::better_kernels(blas::FALLBACK_KERNELS);
    EXPECT_EQ(blas::examine().refusal, nullptr);
    expect(better != nullptr ? better : blas::FALLBACK_KERNELS);
}
