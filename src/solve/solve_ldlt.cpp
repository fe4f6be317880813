#include "solve/solve_ldlt.h"

#include "interface/process_state.h"
#include "interface/status.h"
#include "memory/buffer.h"
#include "platform/blas.h"
#include "report/console.h"

#include <cinttypes>
#include <utility>

namespace vyr {

namespace {

bool keeps_order(const std::int32_t* record, std::int32_t m) noexcept {
    for (std::int32_t k = 0; k < m; ++k)
        if (record[k] != k) return false;
    return true;
}

/// Divides by the 2 x 2 pivots, whose values the block solve divided as if they were single ones.
void divide_by_pairs(const mf_snode& node, const double* z, double* v) noexcept {
    for (std::int32_t k = 0; k + 1 < node.npiv; ++k) {
        const double* d = node.factor_block + k + std::int64_t{k} * node.npiv;
        const double e = d[1];
        if (e == 0.0) continue;
        // Divided by t, whose reciprocal overflows when it is subnormal.
        const double p = d[0] / e, q = d[node.npiv + 1] / e, t = e * (p * q - 1.0);
        v[k] = (q * z[k] - z[k + 1]) / t;
        v[k + 1] = (p * z[k + 1] - z[k]) / t;
    }
}

/// Backward step by loops: the coupling block column by column, then row by row upwards through the pivot
/// block.
void backward_by_loops(const mf_snode& node, const std::int32_t* record, double* w) noexcept {
    const std::int32_t npiv = node.npiv;
    double* v = w + node.first();
    for (std::int32_t j = 0; j < node.nupd; ++j) {
        const double* column = node.coupling() + std::int64_t{j} * npiv;
        const double x = w[node.update_rows()[j]];
        for (std::int32_t i = 0; i < npiv; ++i) v[i] -= column[i] * x;
    }
    if (keeps_order(record, npiv)) {
        // No exchange comes between the rows, so the block may be read as it is stored.
        for (std::int32_t c = npiv - 1; c > 0; --c) {
            const double* column = node.factor_block + std::int64_t{c} * npiv;
            for (std::int32_t i = 0; i < c; ++i) v[i] -= column[i] * v[c];
        }
        return;
    }
    for (std::int32_t i = npiv - 1; i >= 0; --i) {
        double sum = 0.0;
        for (std::int32_t c = i + 1; c < npiv; ++c)
            sum += node.factor_block[i + std::int64_t{c} * npiv] * v[c];
        v[i] -= sum;
        if (record[i] != i) std::swap(v[i], v[record[i]]);
    }
}

void print_mapping(const mf_solver& solver) noexcept {
    if (ctrl_int(CTRL_CORE_MODE) == CORE_MAPPED)
        mf_message("\r\n\tMAP=%" PRId32 ",X_Time=%g\t\t", solver.map_count,
                   mf_info[INFO_T_MAPPED_IO] / 1000.0);
}

} // namespace

void mf_dot(std::int32_t n, const double* x, std::int32_t incx, const double* y, std::int32_t incy,
            double* result, int) noexcept {
    double sum = 0.0;
    for (std::int64_t i = 0; i < n; ++i) sum += x[i * incx] * y[i * incy];
    *result = sum;
}

int mf_ldlt_block_solve(char uplo, std::int32_t m, const double* a, std::int32_t lda,
                        const std::int32_t* ipiv, double* v, double* z) noexcept {
    if (m < 1) return -1;
    const std::int64_t diagonal_step = std::int64_t{lda} + 1;
    if (keeps_order(ipiv, m)) {
        blas::trsv('U', uplo == 'L' ? 'T' : 'N', 'U', m, a, lda, v, 1);
        for (std::int32_t k = 0; uplo == 'L' && k < m; ++k) {
            z[k] = v[k];
            v[k] /= a[k * diagonal_step];
        }
        return 0;
    }
    for (std::int32_t step = 0; step < m; ++step) {
        const std::int32_t k = uplo == 'L' ? step : m - 1 - step;
        const std::int32_t p = ipiv[k], right = m - 1 - k;
        if (p < 0) continue;
        const double* row = right > 0 ? a + k * diagonal_step + lda : a;
        if (uplo == 'L') {
            if (p != k) std::swap(v[k], v[p]);
            blas::axpy(right, -v[k], row, lda, v + k + 1, 1);
            z[k] = v[k];
            v[k] /= a[k * diagonal_step];
        } else {
            double sum = 0.0;
            mf_dot(right, row, lda, v + k + 1, 1, &sum, 0);
            v[k] -= sum;
            if (p != k) std::swap(v[k], v[p]);
        }
    }
    return 0;
}

int mf_ldlt_forward_node(const mf_snode& node, const std::int32_t* record, double* w,
                         double* scratch) noexcept {
    double* v = w + node.first();
    const int result = mf_ldlt_block_solve('L', node.npiv, node.factor_block, node.npiv, record, v, scratch);
    if ((node.flags & NODE_TWO_BY_TWO) != 0) divide_by_pairs(node, scratch, v);
    if (node.nupd > 0) {
        double* update = scratch + node.npiv;
        blas::gemv('T', node.npiv, node.nupd, 1.0, node.coupling(), node.npiv, scratch, 1, 0.0, update, 1);
        for (std::int32_t j = 0; j < node.nupd; ++j) w[node.update_rows()[j]] -= update[j];
    }
    return result;
}

int mf_ldlt_backward_node(const mf_snode& node, const std::int32_t* record, double* w, double* scratch,
                          bool by_blas) noexcept {
    if (!by_blas) {
        backward_by_loops(node, record, w);
        return 0;
    }
    double* v = w + node.first();
    if (node.nupd > 0) {
        for (std::int32_t j = 0; j < node.nupd; ++j) scratch[j] = w[node.update_rows()[j]];
        blas::gemv('N', node.npiv, node.nupd, -1.0, node.coupling(), node.npiv, scratch, 1, 1.0, v, 1);
    }
    return mf_ldlt_block_solve('U', node.npiv, node.factor_block, node.npiv, record, v, nullptr);
}

int mf_solve_ldlt(mf_solver& solver, double* x) noexcept {
    const std::int32_t n = solver.n;
    Buffer<double> work(n);
    if (!work) {
        set_info_status(VYR_ERR_MEMORY);
        return VYR_ERR_MEMORY;
    }
    if (solver.pivot_index == nullptr) return 0;
    const bool by_blas = ctrl_int(CTRL_TYPE) == TYPE_CSYM;
    double* w = work.get();
    int result = 0;
    for (std::int32_t k = 0; k < n; ++k) w[k] = x[solver.perm[k]];
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        if (node.factor_block != nullptr)
            result = mf_ldlt_forward_node(node, solver.pivot_index + node.first(), w, x);
    }
    print_mapping(solver);
    for (std::int32_t s = solver.n_snodes - 1; s >= 0; --s) {
        const mf_snode& node = solver.snodes[s];
        if (node.factor_block != nullptr)
            result = mf_ldlt_backward_node(node, solver.pivot_index + node.first(), w, x, by_blas);
    }
    print_mapping(solver);
    for (std::int32_t k = 0; k < n; ++k) x[solver.perm[k]] = w[k];
    return result;
}

} // namespace vyr
