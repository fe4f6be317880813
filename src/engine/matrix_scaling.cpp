#include "engine/matrix_scaling.h"

#include "engine/condition.h"
#include "symbolic/symmetric_matching.h"

#include <utility>

namespace vyr {

Status mf_choose_scaling(Context& context, const Matrix& a, Buffer<double>& scale,
                         std::int32_t& structural_rank) noexcept {
    structural_rank = -1;
    const Settings& settings = context.settings;
    if (settings.matrix_scaling == SCALING_NONE) {
        scale.reset();
        return Status::OK;
    }
    if (scale) {
        Buffer<double> largest(context.memory, a.n);
        if (!largest) return out_of_memory(context);
        if (mf_scaling_fits(a, scale.get(), largest.get())) return Status::OK;
    }
    const bool by_rows = settings.matrix_scaling == SCALING_NORM ||
                         (settings.matrix_scaling == SCALING_AUTOMATIC && settings.matching == MATCHING_OFF);
    if (by_rows) {
        if (!scale) scale = Buffer<double>(context.memory, a.n);
        return scale ? mf_equilibration(context, a, scale.get()) : out_of_memory(context);
    }
    SymmetricMatching matching;
    const Status status = mf_symmetric_matching(context, a, matching);
    if (status != Status::OK) return status;
    structural_rank = matching.structural_rank;
    scale = std::move(matching.scale);
    return Status::OK;
}

void mf_scaled_values(const Matrix& a, const double* scale, double* scaled) noexcept {
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k)
            scaled[k] = a.values[k] * scale[a.row_ind[k]] * scale[j];
}

} // namespace vyr
