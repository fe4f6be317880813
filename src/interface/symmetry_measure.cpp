// How symmetric a stored pattern is.
#include "core/buffer.h"
#include "interface/input_check.h"

namespace vyr {

namespace {

/// Row-wise pattern: the columns of row i are column_ind[row_ptr[i]] .. column_ind[row_ptr[i + 1] - 1].
void transpose(std::int32_t n, const std::int32_t* col_ptr, const std::int32_t* row_ind,
               std::int32_t* row_ptr, std::int32_t* next, std::int32_t* column_ind) noexcept {
    for (std::int32_t i = 0; i <= n; ++i) row_ptr[i] = 0;
    for (std::int32_t e = 0; e < col_ptr[n]; ++e) ++row_ptr[row_ind[e] + 1];
    for (std::int32_t i = 0; i < n; ++i) row_ptr[i + 1] += row_ptr[i];
    for (std::int32_t i = 0; i < n; ++i) next[i] = row_ptr[i];
    for (std::int32_t j = 0; j < n; ++j)
        for (std::int32_t e = col_ptr[j]; e < col_ptr[j + 1]; ++e) column_ind[next[row_ind[e]]++] = j;
}

} // namespace

Status mf_symmetry_measure(Context& context, const Pattern& pattern, double& measure) noexcept {
    const auto [n, col_ptr, row_ind] = pattern;
    Buffer<std::int32_t> row_ptr(context.memory, std::int64_t{n} + 1), column_ind(context.memory, col_ptr[n]),
        mark(context.memory, n);
    if (!row_ptr || !column_ind || !mark) return out_of_memory(context);
    transpose(n, col_ptr, row_ind, row_ptr.get(), mark.get(), column_ind.get());
    mark.fill(0);

    std::int64_t counter = 0;
    std::int64_t n_diagonal = 0;
    for (std::int32_t i = 0; i < n; ++i) {
        for (std::int32_t e = col_ptr[i]; e < col_ptr[i + 1]; ++e) {
            mark[row_ind[e]] = 1;
            n_diagonal += row_ind[e] == i;
        }
        for (std::int32_t e = row_ptr[i]; e < row_ptr[i + 1]; ++e) {
            if (mark[column_ind[e]] == 0) continue;
            mark[column_ind[e]] = 0;
            ++counter;
        }
        for (std::int32_t e = col_ptr[i]; e < col_ptr[i + 1]; ++e) {
            counter += mark[row_ind[e]] == 0;
            mark[row_ind[e]] = 0;
        }
    }
    measure = static_cast<double>(counter) / static_cast<double>(col_ptr[n] - n_diagonal);
    return Status::OK;
}

} // namespace vyr
