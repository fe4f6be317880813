#include "triangle.h"

#include <algorithm>
#include <limits>

namespace vyr_petsc {

namespace {

/// The arrays of A: n_blocks rows of blocks of bs x bs, each by columns. Borrowed from A between two calls of
/// open and close.
struct Blocks {
    PetscInt n_blocks = 0, bs = 1;
    PetscBool blocked = PETSC_FALSE;
    const PetscInt *ptr = nullptr, *ind = nullptr;
    PetscScalar* values = nullptr;
};

PetscErrorCode open(Mat A, Blocks& a) {
    PetscBool baij, sbaij, done;
    PetscFunctionBegin;
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(A), MATSEQBAIJ, &baij));
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(A), MATSEQSBAIJ, &sbaij));
    a.blocked = static_cast<PetscBool>(baij || sbaij);
    if (a.blocked)
        PetscCall(MatGetBlockSize(A, &a.bs)); // an aij matrix stores single entries, whatever it says
    PetscCall(MatGetRowIJ(A, 0, PETSC_FALSE, a.blocked, &a.n_blocks, &a.ptr, &a.ind, &done));
    PetscCheck(done, PETSC_COMM_SELF, PETSC_ERR_SUP, "the rows of this matrix cannot be read");
    if (sbaij)
        PetscCall(MatSeqSBAIJGetArray(A, &a.values));
    else if (baij)
        PetscCall(MatSeqBAIJGetArray(A, &a.values));
    else
        PetscCall(MatSeqAIJGetArrayRead(A, const_cast<const PetscScalar**>(&a.values)));
    PetscFunctionReturn(0);
}

PetscErrorCode close(Mat A, Blocks& a) {
    PetscBool done, sbaij;
    PetscFunctionBegin;
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(A), MATSEQSBAIJ, &sbaij));
    if (sbaij)
        PetscCall(MatSeqSBAIJRestoreArray(A, &a.values));
    else if (a.blocked)
        PetscCall(MatSeqBAIJRestoreArray(A, &a.values));
    else
        PetscCall(MatSeqAIJRestoreArrayRead(A, const_cast<const PetscScalar**>(&a.values)));
    PetscCall(MatRestoreRowIJ(A, 0, PETSC_FALSE, a.blocked, &a.n_blocks, &a.ptr, &a.ind, &done));
    PetscFunctionReturn(0);
}

/// Calls visit(row, column, value) for the entries of a row of A that are not left of the diagonal.
template <typename Visit>
void for_upper_entries(const Blocks& a, PetscInt row, Visit visit) {
    const PetscInt block_row = row / a.bs, r = row % a.bs;
    const std::int64_t size = static_cast<std::int64_t>(a.bs) * a.bs;
    for (std::int64_t k = a.ptr[block_row]; k < a.ptr[block_row + 1]; ++k)
        for (PetscInt c = 0; c < a.bs; ++c)
            if (const PetscInt column = a.ind[k] * a.bs + c; column >= row)
                visit(column, a.values[k * size + static_cast<std::int64_t>(c) * a.bs + r]);
}

PetscErrorCode copy(const Blocks& a, PetscInt n, Triangle& triangle) {
    PetscFunctionBegin;
    PetscCall(PetscMalloc1(n + 1, &triangle.ptr));
    triangle.ptr[0] = 0;
    for (PetscInt row = 0; row < n; ++row) {
        std::int64_t end = triangle.ptr[row];
        for_upper_entries(a, row, [&](PetscInt, PetscScalar) { ++end; });
        triangle.ptr[row + 1] = end;
    }
    const std::int64_t room = std::max(triangle.ptr[n], std::int64_t{1}); // PETSc gives null for none
    PetscCall(PetscMalloc2(room, &triangle.ind, room, &triangle.values));
    for (PetscInt row = 0; row < n; ++row) {
        std::int64_t next = triangle.ptr[row];
        for_upper_entries(a, row, [&](PetscInt column, PetscScalar value) {
            triangle.ind[next] = static_cast<std::int32_t>(column);
            triangle.values[next++] = value;
        });
    }
    PetscFunctionReturn(0);
}

/// Rounding of assembly and products leaves differences of this size, relative to the largest row sum.
constexpr PetscReal SYMMETRY_TOLERANCE = 1e-12;

} // namespace

PetscErrorCode copy_triangle(Mat A, Triangle& triangle) {
    static_assert(sizeof(PetscScalar) == sizeof(double), "VYR computes in real double precision");
    Blocks a;
    PetscInt n;
    PetscFunctionBegin;
    PetscCall(MatGetSize(A, &n, nullptr));
    PetscCall(open(A, a));
    PetscCall(copy(a, n, triangle));
    PetscCall(close(A, a));
    triangle.matrix = {sizeof(vyr_matrix),   n, triangle.ptr, triangle.ind, triangle.values,
                       sizeof(std::int64_t), 0, VYR_UPPER,    VYR_ROWS};
    PetscFunctionReturn(0);
}

PetscErrorCode free_triangle(Triangle& triangle) {
    PetscFunctionBegin;
    PetscCall(PetscFree(triangle.ptr));
    PetscCall(PetscFree2(triangle.ind, triangle.values));
    PetscFunctionReturn(0);
}

PetscErrorCode require_symmetric(Mat A, PetscBool assume) {
    PetscBool known, symmetric, sbaij, aij;
    PetscInt n, n_columns;
    PetscFunctionBegin;
    PetscCall(MatGetSize(A, &n, &n_columns));
    PetscCheck(n == n_columns, PETSC_COMM_SELF, PETSC_ERR_ARG_SIZ,
               "VYR factors square matrices; this one is %" PetscInt_FMT " x %" PetscInt_FMT, n, n_columns);
    PetscCheck(n < std::numeric_limits<std::int32_t>::max(), PETSC_COMM_SELF, PETSC_ERR_ARG_OUTOFRANGE,
               "VYR numbers equations by 32 bits");
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(A), MATSEQSBAIJ, &sbaij));
    if (assume || sbaij) PetscFunctionReturn(0);
    PetscCall(MatIsSymmetricKnown(A, &known, &symmetric));
    if (known && symmetric) PetscFunctionReturn(0);
    PetscCall(MatIsSPDKnown(A, &known, &symmetric));
    if (known && symmetric) PetscFunctionReturn(0);

    // PETSc compares aij matrices only.
    Mat single = A;
    PetscReal norm;
    PetscCall(PetscObjectBaseTypeCompare(reinterpret_cast<PetscObject>(A), MATSEQAIJ, &aij));
    if (!aij) PetscCall(MatConvert(A, MATSEQAIJ, MAT_INITIAL_MATRIX, &single));
    PetscCall(MatNorm(single, NORM_INFINITY, &norm));
    PetscCall(MatIsSymmetric(single, SYMMETRY_TOLERANCE * norm, &symmetric));
    if (!aij) PetscCall(MatDestroy(&single));
    PetscCheck(symmetric, PETSC_COMM_SELF, PETSC_ERR_ARG_WRONG,
               "VYR factors symmetric matrices, and this one is not. If it is meant to be, mark it with "
               "MatSetOption(A, MAT_SYMMETRIC, PETSC_TRUE) or run with -mat_vyr_assume_symmetric: its upper "
               "triangle is read then");
    PetscFunctionReturn(0);
}

} // namespace vyr_petsc
