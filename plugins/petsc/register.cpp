// The plug-in: solver type "vyr" for sequential matrices, found by PETSc at run time.
//
//     PETSC_OPTIONS="-dll_append <folder>/libpetscvyr.so" ./program -pc_type cholesky
//     -pc_factor_mat_solver_type vyr
#include "factor.h"

#include <new>

namespace vyr_petsc {

namespace {

constexpr char SOLVER_TYPE[] = "vyr";

PetscErrorCode cholesky_symbolic(Mat F, Mat A, IS, const MatFactorInfo*) {
    PetscFunctionBegin;
    PetscCall(analyse(F, A));
    PetscFunctionReturn(0);
}

PetscErrorCode lu_symbolic(Mat F, Mat A, IS, IS, const MatFactorInfo*) {
    PetscFunctionBegin;
    PetscCall(analyse(F, A));
    PetscFunctionReturn(0);
}

PetscErrorCode solver_type(Mat, MatSolverType* type) {
    PetscFunctionBegin;
    *type = SOLVER_TYPE;
    PetscFunctionReturn(0);
}

PetscErrorCode destroy(Mat F) {
    PetscFunctionBegin;
    PetscCall(
        PetscObjectComposeFunction(reinterpret_cast<PetscObject>(F), "MatFactorGetSolverType_C", nullptr));
    release(data_of(F));
    delete &data_of(F);
    F->data = nullptr;
    PetscFunctionReturn(0);
}

void set_operations(Mat F) {
    F->ops->choleskyfactorsymbolic = cholesky_symbolic;
    F->ops->lufactorsymbolic = lu_symbolic;
    F->ops->choleskyfactornumeric = factorise;
    F->ops->lufactornumeric = factorise;
    F->ops->solve = solve;
    F->ops->solvetranspose = solve; // A is symmetric
    F->ops->matsolve = solve_columns;
    F->ops->matsolvetranspose = solve_columns;
    F->ops->forwardsolve = forward_solve;
    F->ops->backwardsolve = backward_solve;
    F->ops->getinertia = inertia;
    F->ops->getinfo = get_info;
    F->ops->view = view;
    F->ops->destroy = destroy;
}

/// An empty factored matrix for A.
PetscErrorCode get_factor(Mat A, MatFactorType type, Mat* F) {
    Mat made;
    PetscFunctionBegin;
    auto* data = new (std::nothrow) FactorData;
    PetscCheck(data != nullptr, PETSC_COMM_SELF, PETSC_ERR_MEM, "out of memory");
    PetscCall(MatCreate(PetscObjectComm(reinterpret_cast<PetscObject>(A)), &made));
    made->data = data;
    PetscCall(MatSetSizes(made, A->rmap->n, A->cmap->n, A->rmap->N, A->cmap->N));
    PetscCall(PetscStrallocpy(SOLVER_TYPE, &reinterpret_cast<PetscObject>(made)->type_name));
    set_operations(made);
    PetscCall(MatSetUp(made));
    made->factortype = type;
    made->assembled = PETSC_TRUE;
    PetscCall(PetscFree(made->solvertype));
    PetscCall(PetscStrallocpy(SOLVER_TYPE, &made->solvertype));
    PetscCall(PetscObjectComposeFunction(reinterpret_cast<PetscObject>(made), "MatFactorGetSolverType_C",
                                         solver_type));
    *F = made;
    PetscFunctionReturn(0);
}

} // namespace

} // namespace vyr_petsc

/// PETSc calls it once, when it has loaded the library; the name goes by that of the file.
extern "C" PETSC_VISIBILITY_PUBLIC PetscErrorCode PetscDLLibraryRegister_petscvyr(void) {
    PetscFunctionBegin;
    PetscCall(MatInitializePackage()); // or PETSc's own types would never be registered
    for (const MatType matrix : {MATSEQAIJ, MATSEQBAIJ, MATSEQSBAIJ})
        for (const MatFactorType factor : {MAT_FACTOR_CHOLESKY, MAT_FACTOR_LU})
            PetscCall(MatSolverTypeRegister(vyr_petsc::SOLVER_TYPE, matrix, factor, vyr_petsc::get_factor));
    PetscFunctionReturn(0);
}
