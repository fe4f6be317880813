// A factored PETSc matrix of solver type "vyr": what it holds, and the operations PETSc calls.
#ifndef VYR_PETSC_FACTOR_H
#define VYR_PETSC_FACTOR_H

#include "settings.h"

#include <petsc/private/matimpl.h>
#include <vyr/solver.h>

#include <cstdint>

namespace vyr_petsc {

/// Behind Mat::data, one for each factored matrix; a process may hold any number. A matrix without rows, as
/// ranks without a share have it, has neither analysis nor factor.
struct FactorData {
    Settings settings;
    vyr_analysis* analysis = nullptr; ///< owned; kept while only values change
    vyr_analysis_info structure{};    ///< what it found, asked once: every solve looks; else all zero
    vyr_factor* factor = nullptr;     ///< owned
    std::int64_t analyses = 0, factorisations = 0,
                 solves = 0; ///< calls so far; solves count right-hand sides
};

/// The record behind a factored matrix.
inline FactorData& data_of(Mat F) {
    return *static_cast<FactorData*>(F->data);
}

/// Releases analysis and factor; the settings stay.
void release(FactorData& data);

/// Figures of the factorization; all zero where there is none.
vyr_factor_info factor_info(const FactorData& data);

/// Symbolic phase: refuses what is not symmetric, reads the options, analyses. A failure for want of memory
/// and the like is left in the matrix's factorerrortype, as PETSc wants it; a wrong matrix is an error.
PetscErrorCode analyse(Mat F, Mat A);

/// Numeric phase, again and again for new values of the pattern.
PetscErrorCode factorise(Mat F, Mat A, const MatFactorInfo*);

/// X = A^-1 B, for one vector and for the columns of dense matrices. A right-hand side that is not finite
/// gives a solution that is not, so that the method around it stops on every rank.
PetscErrorCode solve(Mat F, Vec b, Vec x);
PetscErrorCode solve_columns(Mat F, Mat B, Mat X);
/// The two halves of a solve: P, L and D of A = P^T L D L^T P, then L^T and P^T.
PetscErrorCode forward_solve(Mat F, Vec b, Vec x);
PetscErrorCode backward_solve(Mat F, Vec b, Vec x);

PetscErrorCode inertia(Mat F, PetscInt* negative, PetscInt* zero, PetscInt* positive);
PetscErrorCode get_info(Mat F, MatInfoType, MatInfo* info);
/// The figures on an ASCII viewer in one of its info formats.
PetscErrorCode view(Mat F, PetscViewer viewer);

} // namespace vyr_petsc

#endif
