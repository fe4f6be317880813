// The rate of the dense product: what a factorization could reach at best.
#include "bench/worker.h"

#include "platform/blas.h"

namespace vyr::bench {

double dgemm_rate() {
    constexpr blas::Int ORDER = 2000;
    constexpr int PRODUCTS = 5;
    const std::size_t entries = static_cast<std::size_t>(ORDER) * static_cast<std::size_t>(ORDER);
    std::vector<double> a(entries, 1.0), b(entries, 2.0), c(entries);
    std::vector<double> seconds;
    for (int product = 0; product <= PRODUCTS; ++product) {
        const double start = clock_seconds();
        blas::gemm('N', 'N', ORDER, ORDER, ORDER, 1.0, a.data(), ORDER, b.data(), ORDER, 0.0, c.data(),
                   ORDER);
        if (product > 0) seconds.push_back(clock_seconds() - start);
    }
    return 2.0 * ORDER * ORDER * ORDER / median(seconds) * 1e-9;
}

} // namespace vyr::bench
