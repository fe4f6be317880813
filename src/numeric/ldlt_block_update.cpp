// With Z the undivided rows and U = D^-1 Z the divided ones, eliminating a set of pivots subtracts Z^T U from
// whatever lies below and to the right of them. Every function here is that product on another piece; Z^T is
// what the front keeps, so each is a plain product without transposition.
#include "numeric/ldlt_block_update.h"

#include "platform/blas.h"

#include <algorithm>

namespace vyr {

void mf_load_rows(const LdltFront& front, std::int32_t waiting, std::int32_t first,
                  std::int32_t last) noexcept {
    const std::int32_t count = last - first;
    double* target = front.z(first);
    for (std::int32_t c = first; c < front.width; ++c) {
        const double* source = front.column(c) + first;
        for (std::int32_t i = 0; i < count; ++i)
            target[c + static_cast<std::int64_t>(i) * front.width] = source[i];
    }
    if (waiting < first)
        blas::gemm('N', 'N', front.width - first, count, first - waiting, -1.0, front.z(waiting) + first,
                   front.width, front.column(first) + waiting, front.npiv, 1.0, target + first, front.width);
}

void mf_update_row(const LdltFront& front, std::int32_t first, std::int32_t k) noexcept {
    blas::gemv('N', front.width - k, k - first, -1.0, front.z(first) + k, front.width,
               front.column(k) + first, 1, 1.0, front.z(k) + k, 1);
}

void mf_update_trailing(const LdltFront& front, std::int32_t waiting, std::int32_t done,
                        std::int32_t row) noexcept {
    const std::int32_t npiv = front.npiv, n_waiting = done - waiting, nupd = front.width - npiv;
    if (row >= npiv || n_waiting == 0) return;
    const double* left = front.z(waiting) + row;
    for (std::int32_t c = row; c < npiv; c += LDLT_STRIP) {
        const std::int32_t end = std::min(c + LDLT_STRIP, npiv);
        blas::gemm('N', 'N', end - row, end - c, n_waiting, -1.0, left, front.width,
                   front.column(c) + waiting, npiv, 1.0, front.column(c) + row, npiv);
    }
    if (nupd > 0)
        blas::gemm('N', 'N', npiv - row, nupd, n_waiting, -1.0, left, front.width,
                   front.column(npiv) + waiting, npiv, 1.0, front.column(npiv) + row, npiv);
}

void mf_form_update(const LdltFront& front, double* update, std::int32_t ld) noexcept {
    const std::int32_t npiv = front.npiv, nupd = front.width - npiv;
    for (std::int32_t c = 0; c < nupd; c += LDLT_STRIP) {
        const std::int32_t end = std::min(c + LDLT_STRIP, nupd);
        blas::gemm('N', 'N', end, end - c, npiv, -1.0, front.undivided + npiv, front.width,
                   front.column(npiv + c), npiv, 0.0, update + static_cast<std::int64_t>(c) * ld, ld);
    }
}

void mf_add_to_update(const LdltFront& front, double* update, std::int32_t ld) noexcept {
    const std::int32_t npiv = front.npiv, nupd = front.width - npiv;
    if (nupd > 0)
        blas::gemm('N', 'N', nupd, nupd, npiv, -1.0, front.undivided + npiv, front.width, front.column(npiv),
                   npiv, 1.0, update, ld);
}

} // namespace vyr
