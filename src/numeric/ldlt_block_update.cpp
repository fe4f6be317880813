// With Z the undivided rows and U = D^-1 Z the divided ones, eliminating a set of pivots subtracts Z^T U from
// whatever lies below and to the right of them. Every function here is that product on another piece; Z^T is
// what the front keeps, so each is a plain product without transposition.
#include "core/tuning.h"
#include "numeric/ldlt.h"
#include "platform/blas.h"

#include <omp.h>

#include <algorithm>

namespace vyr {

namespace {

/// C <- beta C - A B. BLAS asks OpenMP for the number of threads, so that is where a large product gets them.
void product(const LdltFront& front, std::int32_t m, std::int32_t n, std::int32_t k, const double* a,
             const double* b, double beta, double* c, std::int32_t ldc) noexcept {
    const bool threaded = front.threads > 1 && 2.0 * m * n * k >= tuning::THREADED_PRODUCT_FLOPS;
    if (threaded) omp_set_num_threads(front.threads);
    blas::gemm('N', 'N', m, n, k, -1.0, a, front.width, b, front.npiv, beta, c, ldc);
    if (threaded) omp_set_num_threads(1);
}

} // namespace

void mf_load_rows(const LdltFront& front, std::int32_t first, std::int32_t last) noexcept {
    const std::int32_t count = last - first;
    double* target = front.z(first);
    for (std::int32_t c = first; c < front.width; ++c) {
        const double* source = front.column(c) + first;
        for (std::int32_t i = 0; i < count; ++i)
            target[c + static_cast<std::int64_t>(i) * front.width] = source[i];
    }
}

void mf_update_row(const LdltFront& front, std::int32_t first, std::int32_t k) noexcept {
    blas::gemv('N', front.width - k, k - first, -1.0, front.z(first) + k, front.width,
               front.column(k) + first, 1, 1.0, front.z(k) + k, 1);
}

void mf_update_trailing(const LdltFront& front, std::int32_t first, std::int32_t done,
                        std::int32_t row) noexcept {
    const std::int32_t npiv = front.npiv, n_done = done - first;
    if (row >= npiv || n_done == 0) return;
    const double* left = front.z(first) + row;
    // Strips follow the triangle of the pivot columns; the coupling block has no part to leave out.
    const std::int32_t strips_end = front.in_place ? npiv : row;
    for (std::int32_t c = row; c < strips_end; c += LDLT_STRIP) {
        const std::int32_t end = std::min(c + LDLT_STRIP, strips_end);
        product(front, end - row, end - c, n_done, left, front.column(c) + first, 1.0, front.column(c) + row,
                npiv);
    }
    if (strips_end < front.width)
        product(front, npiv - row, front.width - strips_end, n_done, left, front.column(strips_end) + first,
                1.0, front.column(strips_end) + row, npiv);
}

void mf_form_update(const LdltFront& front, double* update, std::int32_t ld) noexcept {
    const std::int32_t npiv = front.npiv, nupd = front.width - npiv;
    for (std::int32_t c = 0; c < nupd && !front.stopped(); c += LDLT_STRIP) {
        const std::int32_t end = std::min(c + LDLT_STRIP, nupd);
        product(front, end, end - c, npiv, front.undivided + npiv, front.column(npiv + c), 0.0,
                update + static_cast<std::int64_t>(c) * ld, ld);
    }
}

void mf_add_to_update(const LdltFront& front, double* update, std::int32_t ld) noexcept {
    const std::int32_t npiv = front.npiv, nupd = front.width - npiv;
    if (nupd > 0)
        product(front, nupd, nupd, npiv, front.undivided + npiv, front.column(npiv), 1.0, update, ld);
}

} // namespace vyr
