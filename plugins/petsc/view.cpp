#include "factor.h"

namespace vyr_petsc {

namespace {

constexpr double MEGABYTE = 1048576;
const char* const ORDERINGS[] = {"automatic", "METIS", "AMD",
                                 "natural",   "given", "dissection"}; // by VYR_ORDERING_

PetscErrorCode view_analysis(const vyr_analysis_info& found, PetscViewer viewer) {
    PetscFunctionBegin;
    PetscCall(PetscViewerASCIIPrintf(viewer, "  equations %lld, entries of A's triangle %lld, of L %lld\n",
                                     static_cast<long long>(found.n), static_cast<long long>(found.entries),
                                     static_cast<long long>(found.factor_entries)));
    PetscCall(PetscViewerASCIIPrintf(viewer, "  ordering %s%s, supernodes %lld, operations %.3g\n",
                                     ORDERINGS[found.ordering], found.compressed != 0 ? " (compressed)" : "",
                                     static_cast<long long>(found.supernodes), found.operations));
    PetscFunctionReturn(0);
}

PetscErrorCode view_factor(const vyr_factor_info& found, PetscViewer viewer) {
    PetscFunctionBegin;
    PetscCall(PetscViewerASCIIPrintf(viewer, "  status: %s\n", vyr_status_text(found.status)));
    PetscCall(PetscViewerASCIIPrintf(viewer, "  kind %s, threads %d, kernels %s\n",
                                     found.kind == VYR_KIND_POSITIVE ? "L L^T" : "L D L^T", found.threads,
                                     found.kernels != nullptr ? found.kernels : "none"));
    PetscCall(PetscViewerASCIIPrintf(viewer, "  pivots %.6g to %.6g, 2 x 2 %lld\n", found.pivot_smallest,
                                     found.pivot_largest, static_cast<long long>(found.two_by_two)));
    PetscCall(PetscViewerASCIIPrintf(viewer, "  inertia: negative %lld, zero %lld, positive %lld\n",
                                     static_cast<long long>(found.negative),
                                     static_cast<long long>(found.zero),
                                     static_cast<long long>(found.positive)));
    if (found.failed_equation > 0)
        PetscCall(PetscViewerASCIIPrintf(viewer, "  failed at row %lld with pivot %.6g\n",
                                         static_cast<long long>(found.failed_equation - 1),
                                         found.failed_pivot));
    PetscCall(PetscViewerASCIIPrintf(viewer, "  megabytes in memory %.1f, in %lld files %.1f\n",
                                     found.factor_bytes / MEGABYTE, static_cast<long long>(found.files),
                                     found.file_bytes / MEGABYTE));
    PetscFunctionReturn(0);
}

} // namespace

PetscErrorCode inertia(Mat F, PetscInt* negative, PetscInt* zero, PetscInt* positive) {
    PetscFunctionBegin;
    const vyr_factor_info found = factor_info(data_of(F));
    if (negative != nullptr) *negative = static_cast<PetscInt>(found.negative);
    if (zero != nullptr) *zero = static_cast<PetscInt>(found.zero);
    if (positive != nullptr) *positive = static_cast<PetscInt>(found.positive);
    PetscFunctionReturn(0);
}

PetscErrorCode get_info(Mat F, MatInfoType, MatInfo* info) {
    PetscFunctionBegin;
    const FactorData& data = data_of(F);
    const vyr_analysis_info& analysis = data.structure;
    *info = {};
    info->block_size = 1;
    info->nz_allocated = info->nz_used = static_cast<PetscLogDouble>(analysis.factor_entries);
    info->memory = factor_info(data).factor_bytes;
    info->fill_ratio_needed = analysis.entries > 0 ? static_cast<double>(analysis.factor_entries) /
                                                         static_cast<double>(analysis.entries)
                                                   : 1;
    PetscFunctionReturn(0);
}

PetscErrorCode view(Mat F, PetscViewer viewer) {
    PetscBool ascii;
    PetscViewerFormat format;
    PetscFunctionBegin;
    PetscCall(PetscObjectTypeCompare(reinterpret_cast<PetscObject>(viewer), PETSCVIEWERASCII, &ascii));
    if (!ascii) PetscFunctionReturn(0);
    PetscCall(PetscViewerGetFormat(viewer, &format));
    if (format != PETSC_VIEWER_ASCII_INFO && format != PETSC_VIEWER_ASCII_INFO_DETAIL) PetscFunctionReturn(0);
    const FactorData& data = data_of(F);
    const int version = vyr_version();
    PetscCall(PetscViewerASCIIPrintf(viewer, "VYR %d.%d\n", version / 1000, version % 1000));
    PetscCall(PetscViewerASCIIPrintf(
        viewer, "  analyses %lld, factorizations %lld, solves %lld\n", static_cast<long long>(data.analyses),
        static_cast<long long>(data.factorisations), static_cast<long long>(data.solves)));
    if (data.analysis != nullptr) PetscCall(view_analysis(data.structure, viewer));
    if (data.factor != nullptr) PetscCall(view_factor(factor_info(data), viewer));
    PetscFunctionReturn(0);
}

} // namespace vyr_petsc
