// Options, matrices, analyses: the first half of vyr/solver.h.
#include "api/common.h"

#include "engine/memory_share.h"
#include "symbolic/metis_call.h"

#include <algorithm>
#include <cstring>
#include <new>

using namespace vyr;
using namespace vyr::api;

namespace {

/// True when the n entries of `permutation` are 0 .. n-1 in some order.
Status check_permutation(Context& context, const std::int32_t* permutation, std::int64_t n) noexcept {
    Buffer<std::uint8_t> seen(context.memory, n, std::uint8_t{0});
    if (!seen) return out_of_memory(context);
    for (std::int64_t k = 0; k < n; ++k) {
        const std::int32_t i = permutation[k];
        if (i < 0 || i >= n || seen[i] != 0)
            return fail(context, Status::TYPE, "options.permutation is no permutation: entry %lld is %d",
                        static_cast<long long>(k), i);
        seen[i] = 1;
    }
    return Status::OK;
}

Status analyse(HostCall& call, const InputMatrix& input, SharedAnalysis& shared) noexcept {
    const vyr_options& options = shared.options;
    if (options.ordering == VYR_ORDERING_USER && input.n >= 1 && input.n <= INT32_MAX)
        if (const Status status = check_permutation(call.context, options.permutation, input.n);
            status != Status::OK)
            return status;
    return mf_solver_analyse(call.context, input, static_cast<Kind>(options.kind), options.duplicates == 1,
                             shared.solver);
}

} // namespace

extern "C" int32_t vyr_version(void) {
    return VYR_SOLVER_VERSION_MAJOR * 1000 + VYR_SOLVER_VERSION_MINOR;
}

extern "C" int32_t vyr_abilities(void) {
    return VYR_ABILITY_METIS | VYR_ABILITY_AMD | VYR_ABILITY_INDEFINITE | VYR_ABILITY_OUT_OF_CORE |
           (mf_ordering_can_be_cancelled() ? VYR_ABILITY_CANCEL_ORDERING : 0);
}

extern "C" const char* vyr_status_text(vyr_status status) {
    switch (status) {
    case VYR_STATUS_NULL:
        return "an argument that must not be null is";
    case VYR_STATUS_ARGUMENT:
        return "an option, a size or a leading dimension is out of range";
    case VYR_STATUS_NOT_FACTORISED:
        return "there is no factorization, or the last one failed";
    case VYR_STATUS_BUSY:
        return "the object is at work: it was called from its own callback, or while it is factorised";
    case VYR_STATUS_NOT_KEPT:
        return "the matrix was not kept";
    case VYR_STATUS_NOT_FINITE:
        return "a value is infinite or not a number";
    case VYR_STATUS_PATTERN:
        return "the matrix has another pattern than the analysed one";
    case VYR_STATUS_SINGULAR:
        return "no pivot was left for some equation: the matrix is singular";
    default:
        return status_text(static_cast<Status>(status));
    }
}

extern "C" void vyr_options_default(vyr_options* options, size_t size) {
    if (options == nullptr || size == 0) return;
    vyr_options defaults;
    std::memset(static_cast<void*>(&defaults), 0, sizeof defaults);
    defaults.size = size;
    defaults.kind = VYR_KIND_POSITIVE;
    defaults.ordering = VYR_ORDERING_AUTOMATIC;
    defaults.keep_matrix = 1;
    defaults.refinements = -1;
    defaults.backward_error_limit = -1;
    const Settings settings;
    defaults.pivot_share = settings.pivot_share;
    defaults.zero_pivot = settings.zero_pivot;
    std::memset(static_cast<void*>(options), 0, size); // members this library does not know begin as zeros
    std::memcpy(static_cast<void*>(options), &defaults, size < sizeof defaults ? size : sizeof defaults);
}

extern "C" void vyr_matrix_lower(vyr_matrix* matrix, size_t size, int32_t n, const int32_t* ptr,
                                 const int32_t* ind, const double* values) {
    if (matrix == nullptr || size == 0) return;
    vyr_matrix lower;
    std::memset(static_cast<void*>(&lower), 0, sizeof lower);
    lower.size = size;
    lower.n = n;
    lower.ptr = ptr;
    lower.ind = ind;
    lower.values = values;
    lower.ptr_bytes = 4;
    std::memset(static_cast<void*>(matrix), 0, size);
    std::memcpy(static_cast<void*>(matrix), &lower, size < sizeof lower ? size : sizeof lower);
}

extern "C" vyr_status vyr_analyse(const vyr_matrix* matrix, const vyr_options* options,
                                  vyr_analysis** analysis) {
    if (analysis == nullptr) return VYR_STATUS_NULL;
    *analysis = new (std::nothrow) vyr_analysis;
    if (*analysis == nullptr) return VYR_STATUS_MEMORY;
    vyr_analysis& made = **analysis;
    vyr_options chosen;
    InputMatrix input;
    made.status = take_options(options, chosen, made.message);
    if (made.status == VYR_STATUS_OK) made.status = take_matrix(matrix, input, made.message);
    if (made.status != VYR_STATUS_OK) return made.status;

    auto* shared = new (std::nothrow) SharedAnalysis;
    if (shared == nullptr) return made.status = VYR_STATUS_MEMORY;
    shared->options = chosen;
    HostCall call(shared->solver.memory, chosen);
    const Status status = analyse(call, input, *shared);
    made.status = public_status(status);
    shared->options.permutation = nullptr; // was the caller's
    shared->solver.settings.permutation = nullptr;
    if (status == Status::OK) {
        made.shared = shared;
        return VYR_STATUS_OK;
    }
    std::snprintf(made.message, sizeof made.message, "%s",
                  call.context.reason[0] != '\0' ? call.context.reason : vyr_status_text(made.status));
    release(shared);
    return made.status;
}

extern "C" void vyr_analysis_free(vyr_analysis* analysis) {
    if (analysis == nullptr) return;
    if (analysis->shared != nullptr) release(analysis->shared);
    delete analysis;
}

extern "C" const char* vyr_analysis_message(const vyr_analysis* analysis) {
    return analysis == nullptr ? "" : analysis->message;
}

extern "C" vyr_status vyr_analysis_get_info(const vyr_analysis* analysis, vyr_analysis_info* info) {
    if (analysis == nullptr || info == nullptr) return VYR_STATUS_NULL;
    if (analysis->shared == nullptr) return analysis->status;
    const SolverAnalysis& solver = analysis->shared->solver;
    const Analysis& structure = solver.analysis;
    vyr_analysis_info figures{};
    figures.n = solver.canonical.n;
    figures.entries = solver.canonical.row_ind.count();
    figures.factor_entries = mf_factor_nnz(structure);
    for (std::int32_t s = 0; s < structure.n_snodes; ++s)
        figures.operations += mf_node_cost(structure.snodes[s]);
    Accounting memory;
    Context context(memory);
    MemoryNeed need;
    if (const Status status = mf_solver_memory(context, solver, need); status != Status::OK)
        return public_status(status);
    figures.factor_bytes = need.factor;
    figures.peak_bytes = need.in_core;
    figures.least_bytes = need.least;
    figures.seconds_order = solver.seconds_order;
    figures.seconds_analyse = solver.seconds_analyse;
    figures.supernodes = structure.n_snodes;
    figures.kind = solver.type == TYPE_SPD ? VYR_KIND_POSITIVE : VYR_KIND_INDEFINITE;
    figures.ordering = structure.ordering;
    figures.compressed = structure.compressed ? 1 : 0;
    figures.threads = structure.schedule.n_threads;
    figures.structural_rank = solver.structural_rank;
    figures.pairs = solver.n_pairs;
    return give_info(figures, info);
}

extern "C" vyr_status vyr_analysis_permutation(const vyr_analysis* analysis, int32_t* permutation) {
    if (analysis == nullptr || permutation == nullptr) return VYR_STATUS_NULL;
    if (analysis->shared == nullptr) return analysis->status;
    const Analysis& structure = analysis->shared->solver.analysis;
    std::copy_n(structure.perm.get(), structure.n, permutation);
    return VYR_STATUS_OK;
}
