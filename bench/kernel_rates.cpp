#include "bench/kernel_rates.h"

#include "bench/worker.h"
#include "core/tuning.h"
#include "numeric/product_kernel.h"
#include "platform/blas.h"
#include "platform/blas_threads.h"

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <vector>

namespace vyr::bench {

namespace {

constexpr double SHORT_SECONDS = 0.02; ///< shorter calls are repeated until they add up to this

/// The coupling block of a front, and an ancestor that owns all its rows.
struct Shape {
    std::int32_t n_pivots, n_rows;
    std::vector<double> coupling, target, packed;
    std::vector<std::int32_t> places;

    Shape(std::int32_t pivots, std::int32_t rows)
        : n_pivots(pivots),
          n_rows(rows),
          coupling(static_cast<std::size_t>(pivots) * static_cast<std::size_t>(rows), 1e-3),
          target(static_cast<std::size_t>(rows) * static_cast<std::size_t>(rows)),
          packed(static_cast<std::size_t>(pivots) * static_cast<std::size_t>(rows + 8)),
          places(static_cast<std::size_t>(rows)) {
        std::iota(places.begin(), places.end(), 0);
    }

    double triangle_flops() const { return 1.0 * n_pivots * n_rows * (n_rows + 1.0); }

    void subtract(const ProductKernel& kernel) {
        for (std::int32_t k0 = 0; k0 < n_pivots; k0 += tuning::PRODUCT_DEPTH) {
            const std::int32_t depth = std::min(tuning::PRODUCT_DEPTH, n_pivots - k0);
            kernel.pack(depth, n_rows, coupling.data() + k0, n_pivots, packed.data());
            kernel.subtract(Product{depth, n_rows, n_rows, packed.data(), coupling.data() + k0, n_pivots, 0,
                                    target.data(), n_rows, places.data(), 0, places.data()});
        }
    }
};

template <typename Work>
double rate(int rounds, double flops, Work work) {
    double best = 0;
    for (int round = 0; round < rounds; ++round) {
        const double start = clock_seconds();
        double seconds = 0;
        int calls = 0;
        while (seconds < SHORT_SECONDS) {
            work();
            ++calls;
            seconds = clock_seconds() - start;
        }
        best = std::max(best, flops * calls / seconds * 1e-9);
    }
    return best;
}

} // namespace

void print_kernel_rates(int rounds) {
    constexpr std::int32_t SHAPES[][2] = {{4, 32},    {8, 32},     {16, 64},    {32, 128},    {64, 256},
                                          {128, 512}, {256, 1024}, {512, 2048}, {1024, 2048}, {32, 1024}};
    const blas::ThreadLimit one(1);
    const int n_sets = 1 + static_cast<int>(instruction_set());
    std::printf("| pivots | rows |");
    for (int set = 0; set < n_sets; ++set)
        std::printf(" %s |", instructions_text(static_cast<InstructionSet>(set)));
    std::printf(" `dsyrk` | `dgemm` |\n|---:|---:|");
    for (int column = 0; column < n_sets + 2; ++column) std::printf("---:|");
    for (const auto& [n_pivots, n_rows] : SHAPES) {
        Shape shape(n_pivots, n_rows);
        std::printf("\n| %d | %d |", n_pivots, n_rows);
        for (int set = 0; set < n_sets; ++set) {
            const ProductKernel& kernel = mf_product_kernel(static_cast<InstructionSet>(set));
            std::printf(" %.1f |", rate(rounds, shape.triangle_flops(), [&] { shape.subtract(kernel); }));
        }
        const double* c = shape.coupling.data();
        std::printf(" %.1f |", rate(rounds, shape.triangle_flops(), [&] {
                        blas::syrk('U', 'T', n_rows, n_pivots, -1.0, c, n_pivots, 1.0, shape.target.data(),
                                   n_rows);
                    }));
        std::printf(" %.1f |", rate(rounds, 2.0 * n_pivots * n_rows * n_rows, [&] {
                        blas::gemm('T', 'N', n_rows, n_rows, n_pivots, -1.0, c, n_pivots, c, n_pivots, 1.0,
                                   shape.target.data(), n_rows);
                    }));
        std::fflush(stdout);
    }
    std::printf("\n");
}

} // namespace vyr::bench
