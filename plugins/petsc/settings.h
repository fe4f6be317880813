// The options -mat_vyr_ of a factored matrix.
#ifndef VYR_PETSC_SETTINGS_H
#define VYR_PETSC_SETTINGS_H

#include <petscmat.h>
#include <vyr/solver.h>

namespace vyr_petsc {

struct Settings {
    vyr_options options{};
    char directory[PETSC_MAX_PATH_LEN] = {};  ///< options.directory points to it; empty: in memory
    PetscBool assume_symmetric = PETSC_FALSE; ///< take the upper triangle without a look at the lower one
};

/// Fills the settings for A: the defaults (L L^T for a matrix known to be positive definite, else whatever
/// its pivots ask for; one thread, since mpirun binds ranks to cores), then the options of F's prefix.
PetscErrorCode read_settings(Mat F, Mat A, Settings& settings);

} // namespace vyr_petsc

#endif
