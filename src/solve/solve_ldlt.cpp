#include "core/pivot_pair.h"
#include "memory/mapped_store.h"
#include "platform/blas.h"
#include "solve/node_steps.h"
#include "solve/substitution.h"
#include "solve/tree_sweeps.h"

#include <algorithm>
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
void divide_by_pairs(std::int32_t npiv, const double* block, const double* z, double* v) noexcept {
    for (std::int32_t k = 0; k + 1 < npiv; ++k) {
        const double* d = block + k + std::int64_t{k} * npiv;
        const double e = d[1];
        if (e == 0.0) continue;
        const PivotPair pair(d[0], e, d[npiv + 1]);
        v[k] = pair.first(z[k], z[k + 1]) / pair.t;
        v[k + 1] = pair.second(z[k], z[k + 1]) / pair.t;
    }
}

/// Backward step by loops: the coupling block column by column, then row by row upwards through the pivot
/// block.
void backward_by_loops(const mf_snode& node, const double* block, const std::int32_t* record,
                       double* w) noexcept {
    const std::int32_t npiv = node.npiv;
    double* v = w + node.first();
    for (std::int32_t j = 0; j < node.nupd; ++j) {
        const double* column = node.coupling(block) + std::int64_t{j} * npiv;
        const double x = w[node.update_rows()[j]];
        for (std::int32_t i = 0; i < npiv; ++i) v[i] -= column[i] * x;
    }
    if (keeps_order(record, npiv)) {
        // No exchange comes between the rows, so the block may be read as it is stored.
        for (std::int32_t c = npiv - 1; c > 0; --c) {
            const double* column = block + std::int64_t{c} * npiv;
            for (std::int32_t i = 0; i < c; ++i) v[i] -= column[i] * v[c];
        }
        return;
    }
    for (std::int32_t i = npiv - 1; i >= 0; --i) {
        double sum = 0.0;
        for (std::int32_t c = i + 1; c < npiv; ++c) sum += block[i + std::int64_t{c} * npiv] * v[c];
        v[i] -= sum;
        if (record[i] != i) std::swap(v[i], v[record[i]]);
    }
}

void print_mapping(const Context& context, const Factor& factor) noexcept {
    if (context.settings.core_mode == CORE_MAPPED)
        mf_message(context, "\r\n\tMAP=%" PRId32 ",X_Time=%g\t\t", mf_map_count(factor),
                   context.statistics.t_mapped_io / 1000.0);
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

void mf_ldlt_forward_node(const mf_snode& node, const double* block, bool two_by_two,
                          const std::int32_t* record, double* w, double* scratch) noexcept {
    double* v = w + node.first();
    mf_ldlt_block_solve('L', node.npiv, block, node.npiv, record, v, scratch);
    if (two_by_two) divide_by_pairs(node.npiv, block, scratch, v);
    if (node.nupd > 0) {
        double* update = scratch + node.npiv;
        blas::gemv('T', node.npiv, node.nupd, 1.0, node.coupling(block), node.npiv, scratch, 1, 0.0, update,
                   1);
        for (std::int32_t j = 0; j < node.nupd; ++j) w[node.update_rows()[j]] -= update[j];
    }
}

void mf_ldlt_divide_node(const mf_snode& node, const double* block, bool two_by_two, double* w,
                         double* scratch) noexcept {
    double* v = w + node.first();
    for (std::int32_t k = 0; k < node.npiv; ++k) {
        scratch[k] = v[k];
        v[k] /= block[k + std::int64_t{k} * node.npiv];
    }
    if (two_by_two) divide_by_pairs(node.npiv, block, scratch, v);
}

void mf_ldlt_backward_node(const mf_snode& node, const double* block, const std::int32_t* record, double* w,
                           double* scratch, bool by_blas) noexcept {
    if (!by_blas) {
        backward_by_loops(node, block, record, w);
        return;
    }
    double* v = w + node.first();
    if (node.nupd > 0) {
        for (std::int32_t j = 0; j < node.nupd; ++j) scratch[j] = w[node.update_rows()[j]];
        blas::gemv('N', node.npiv, node.nupd, -1.0, node.coupling(block), node.npiv, scratch, 1, 1.0, v, 1);
    }
    mf_ldlt_block_solve('U', node.npiv, block, node.npiv, record, v, nullptr);
}

Status mf_solve_ldlt(Context& context, const Factor& factor, double* x) noexcept {
    const Analysis& analysis = *factor.analysis;
    std::int64_t widest = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s)
        widest = std::max<std::int64_t>(widest, analysis.snodes[s].n_rows());
    TreeSweeps sweeps(context, analysis, 1);
    if (const Status status = sweeps.open(widest); status != Status::OK) return status;
    if (!factor.pivot_index) return Status::OK;
    double* const w = sweeps.w();
    const bool by_blas = context.settings.type == TYPE_CSYM;
    const std::int32_t* record = factor.pivot_index.get();
    for (std::int32_t k = 0; k < analysis.n; ++k) w[k] = x[analysis.perm[k]];
    Status status = Status::OK;
    const auto forward = [&](const mf_snode& node, std::int32_t s, double* scratch, Crew*) noexcept {
        const FactorBlock& block = factor.blocks[s];
        if (block.values == nullptr) return;
        mf_ldlt_forward_node(node, block.values, (block.flags & BLOCK_TWO_BY_TWO) != 0, record + node.first(),
                             w, scratch);
    };
    const auto backward = [&](const mf_snode& node, std::int32_t s, double* scratch, Crew*) noexcept {
        if (factor.block(s) == nullptr) return;
        mf_ldlt_backward_node(node, factor.block(s), record + node.first(), w, scratch, by_blas);
    };
    sweeps.run([&]() noexcept {
        status = sweeps.forward(forward);
        if (status == Status::OK) print_mapping(context, factor);
        if (status == Status::OK) status = sweeps.backward(backward);
        if (status == Status::OK) print_mapping(context, factor);
    });
    if (status != Status::OK) return status;
    for (std::int32_t k = 0; k < analysis.n; ++k) x[analysis.perm[k]] = w[k];
    return Status::OK;
}

} // namespace vyr
