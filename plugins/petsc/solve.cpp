#include "factor.h"

#include <algorithm>
#include <limits>

namespace vyr_petsc {

namespace {

/// A failed solve is an error; PETSc does not call one on a failed factor.
PetscErrorCode check(Mat F, vyr_status status, PetscInt nrhs) {
    FactorData& data = data_of(F);
    PetscFunctionBegin;
    PetscCheck(status != VYR_STATUS_INACCURATE, PETSC_COMM_SELF, PETSC_ERR_NOT_CONVERGED,
               "VYR: the backward error of a solve stayed above -mat_vyr_backward_error_limit %g",
               data.settings.options.backward_error_limit);
    PetscCheck(status == VYR_STATUS_OK, PETSC_COMM_SELF, PETSC_ERR_LIB, "VYR: %s", vyr_status_text(status));
    data.solves += nrhs;
    PetscCall(PetscLogFlops(4.0 * static_cast<double>(data.structure.factor_entries) * nrhs));
    PetscFunctionReturn(0);
}

/// Solves for nrhs columns. Where B is not finite neither is X: the norms of the method around it see that on
/// every rank, while an error of one rank would leave the others waiting.
vyr_status solve_into(Mat F, PetscInt nrhs, const PetscScalar* b, PetscInt ldb, PetscScalar* x,
                      PetscInt ldx) {
    const vyr_status status =
        vyr_solve(data_of(F).factor, static_cast<int32_t>(nrhs), b, ldb, x, ldx, nullptr);
    if (status != VYR_STATUS_NOT_FINITE) return status;
    for (PetscInt j = 0; j < nrhs; ++j)
        std::fill_n(x + static_cast<std::int64_t>(j) * ldx, F->rmap->n,
                    std::numeric_limits<double>::quiet_NaN());
    return VYR_STATUS_OK;
}

/// Applies parts of the factorization one after the other.
template <std::size_t Count>
PetscErrorCode apply(Mat F, const int32_t (&parts)[Count], Vec b, Vec x) {
    PetscScalar* to;
    PetscFunctionBegin;
    PetscCall(VecCopy(b, x));
    const FactorData& data = data_of(F);
    if (data.factor == nullptr) PetscFunctionReturn(0);
    PetscCall(VecGetArray(x, &to));
    vyr_status status = VYR_STATUS_OK;
    for (std::size_t k = 0; k < Count && status == VYR_STATUS_OK; ++k)
        status = vyr_solve_part(data.factor, parts[k], 1, to, F->rmap->n);
    PetscCall(VecRestoreArray(x, &to));
    PetscCall(check(F, status, 0));
    PetscFunctionReturn(0);
}

} // namespace

PetscErrorCode solve(Mat F, Vec b, Vec x) {
    const PetscScalar* from;
    PetscScalar* to;
    PetscFunctionBegin;
    if (data_of(F).factor == nullptr) PetscFunctionReturn(0);
    const PetscInt n = F->rmap->n;
    PetscCall(VecGetArrayRead(b, &from));
    PetscCall(VecGetArray(x, &to));
    const vyr_status status = solve_into(F, 1, from, n, to, n);
    PetscCall(VecRestoreArray(x, &to));
    PetscCall(VecRestoreArrayRead(b, &from));
    PetscCall(check(F, status, 1));
    PetscFunctionReturn(0);
}

PetscErrorCode solve_columns(Mat F, Mat B, Mat X) {
    const PetscScalar* from;
    PetscScalar* to;
    PetscInt ldb, ldx;
    PetscBool dense;
    PetscFunctionBegin;
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(B), MATSEQDENSE, &dense));
    PetscCheck(dense, PETSC_COMM_SELF, PETSC_ERR_ARG_WRONG,
               "VYR takes right-hand sides as a seqdense matrix");
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(X), MATSEQDENSE, &dense));
    PetscCheck(dense, PETSC_COMM_SELF, PETSC_ERR_ARG_WRONG, "VYR gives solutions as a seqdense matrix");
    const PetscInt nrhs = B->cmap->n;
    if (data_of(F).factor == nullptr || nrhs == 0) PetscFunctionReturn(0);
    PetscCall(MatDenseGetLDA(B, &ldb));
    PetscCall(MatDenseGetLDA(X, &ldx));
    PetscCall(MatDenseGetArrayRead(B, &from));
    PetscCall(MatDenseGetArray(X, &to));
    const vyr_status status = solve_into(F, nrhs, from, ldb, to, ldx);
    PetscCall(MatDenseRestoreArray(X, &to));
    PetscCall(MatDenseRestoreArrayRead(B, &from));
    PetscCall(check(F, status, nrhs));
    PetscFunctionReturn(0);
}

PetscErrorCode forward_solve(Mat F, Vec b, Vec x) {
    PetscFunctionBegin;
    PetscCall(apply(F, {VYR_PART_PL, VYR_PART_D}, b, x));
    PetscFunctionReturn(0);
}

PetscErrorCode backward_solve(Mat F, Vec b, Vec x) {
    PetscFunctionBegin;
    PetscCall(apply(F, {VYR_PART_LTPT}, b, x));
    PetscFunctionReturn(0);
}

} // namespace vyr_petsc
