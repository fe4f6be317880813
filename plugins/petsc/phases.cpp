// Symbolic and numeric phase.
#include "factor.h"
#include "triangle.h"

namespace vyr_petsc {

namespace {

/// What PETSc calls a status that the numbers or the machine are to blame for; NOERROR for a wrong call.
MatFactorError failure_of(vyr_status status) {
    switch (status) {
    case VYR_STATUS_NOT_POSITIVE:
    case VYR_STATUS_SINGULAR:
        return MAT_FACTOR_NUMERIC_ZEROPIVOT;
    case VYR_STATUS_EMPTY:
        return MAT_FACTOR_STRUCT_ZEROPIVOT; // rows without an entry
    case VYR_STATUS_MEMORY:
    case VYR_STATUS_TOO_LARGE:
        return MAT_FACTOR_OUTMEMORY;
    case VYR_STATUS_NOT_FINITE:
    case VYR_STATUS_FILE:
    case VYR_STATUS_ORDERING:
        return MAT_FACTOR_OTHER;
    default:
        return MAT_FACTOR_NOERROR;
    }
}

/// Tells PETSc of a failed phase: by the type of the factor's error, which the solver around it reports on
/// every rank; by an error where the program wants that (PCSetErrorIfFailure) or the call was wrong.
PetscErrorCode report(Mat F, Mat A, vyr_status status, const char* sentence) {
    PetscFunctionBegin;
    if (status == VYR_STATUS_OK) PetscFunctionReturn(0);
    const char* text = sentence[0] != '\0' ? sentence : vyr_status_text(status);
    const MatFactorError error = failure_of(status);
    PetscCheck(error != MAT_FACTOR_NOERROR, PETSC_COMM_SELF, PETSC_ERR_LIB, "VYR: %s", text);
    PetscCheck(!A->erroriffailure, PETSC_COMM_SELF,
               error == MAT_FACTOR_OUTMEMORY ? PETSC_ERR_MEM : PETSC_ERR_MAT_CH_ZRPVT, "VYR: %s", text);
    PetscCall(PetscInfo(F, "VYR: %s\n", text));
    F->factorerrortype = error;
    const vyr_factor_info found = factor_info(data_of(F));
    F->factorerror_zeropivot_value = found.failed_pivot;
    F->factorerror_zeropivot_row = static_cast<PetscInt>(found.failed_equation - 1);
    PetscFunctionReturn(0);
}

} // namespace

void release(FactorData& data) {
    vyr_factor_free(data.factor);
    vyr_analysis_free(data.analysis);
    data.factor = nullptr;
    data.analysis = nullptr;
    data.structure = {};
}

vyr_factor_info factor_info(const FactorData& data) {
    vyr_factor_info info{};
    info.size = sizeof info;
    if (data.factor != nullptr && vyr_factor_get_info(data.factor, &info) != VYR_STATUS_OK) info = {};
    return info;
}

PetscErrorCode analyse(Mat F, Mat A) {
    FactorData& data = data_of(F);
    Triangle triangle;
    PetscFunctionBegin;
    PetscCall(read_settings(F, A, data.settings));
    PetscCall(require_symmetric(A, data.settings.assume_symmetric));
    F->factorerrortype = MAT_FACTOR_NOERROR;
    release(data);
    if (A->rmap->n == 0) PetscFunctionReturn(0);

    PetscCall(copy_triangle(A, triangle));
    vyr_status status = vyr_analyse(&triangle.matrix, &data.settings.options, &data.analysis);
    PetscCall(free_triangle(triangle));
    ++data.analyses;
    PetscCall(report(F, A, status, vyr_analysis_message(data.analysis)));
    if (status != VYR_STATUS_OK) PetscFunctionReturn(0);
    data.structure.size = sizeof data.structure;
    status = vyr_analysis_get_info(data.analysis, &data.structure);
    if (status == VYR_STATUS_OK)
        status = vyr_factor_create(data.analysis, &data.settings.options, &data.factor);
    PetscCall(report(F, A, status, ""));
    PetscFunctionReturn(0);
}

PetscErrorCode factorise(Mat F, Mat A, const MatFactorInfo*) {
    FactorData& data = data_of(F);
    Triangle triangle;
    PetscFunctionBegin;
    if (A->rmap->n == 0 || data.factor == nullptr)
        PetscFunctionReturn(0); // nothing to do, or the analysis failed
    PetscCall(copy_triangle(A, triangle));
    F->factorerrortype = MAT_FACTOR_NOERROR;
    const vyr_status status = vyr_factorise(data.factor, &triangle.matrix);
    PetscCall(free_triangle(triangle));
    ++data.factorisations;
    PetscCall(PetscLogFlops(factor_info(data).operations));
    PetscCall(report(F, A, status, vyr_factor_message(data.factor)));
    F->assembled = PETSC_TRUE;
    F->preallocated = PETSC_TRUE;
    PetscFunctionReturn(0);
}

} // namespace vyr_petsc
