// The upper triangle of a PETSc matrix as VYR takes it.
#ifndef VYR_PETSC_TRIANGLE_H
#define VYR_PETSC_TRIANGLE_H

#include <petscmat.h>
#include <vyr/solver.h>

#include <cstdint>

namespace vyr_petsc {

/// Owned arrays of a triangle; rows of a seqaij, seqbaij or seqsbaij matrix, 0-based.
struct Triangle {
    std::int64_t* ptr = nullptr;   ///< n + 1
    std::int32_t* ind = nullptr;   ///< ptr[n] columns, none left of its row
    PetscScalar* values = nullptr; ///< ptr[n]
    vyr_matrix matrix{};           ///< the three arrays as a matrix
};

/// Copies the entries on and right of the diagonal. To be released with free_triangle, also after an error.
PetscErrorCode copy_triangle(Mat A, Triangle& triangle);
PetscErrorCode free_triangle(Triangle& triangle);

/// An error with a sentence unless A is square, of a type that is taken, marked symmetric or positive
/// definite, or equal to its transpose but for rounding.
PetscErrorCode require_symmetric(Mat A, PetscBool assume);

} // namespace vyr_petsc

#endif
