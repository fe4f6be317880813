#include "settings.h"

namespace vyr_petsc {

namespace {

const char* const KINDS[] = {"positive", "indefinite", "automatic"}; // by VYR_KIND_
const char* const ORDERINGS[] = {"automatic", "metis", "amd", "natural", "dissection"};
constexpr int32_t ORDERING_VALUES[] = {VYR_ORDERING_AUTOMATIC, VYR_ORDERING_METIS, VYR_ORDERING_AMD,
                                       VYR_ORDERING_NATURAL, VYR_ORDERING_DISSECTION};
// The automatic choice reckons with one solve a factor; a preconditioner is applied ten to a hundred times.
// Cubes of Poisson, milliseconds with METIS over those with the automatic choice: 12,600 unknowns 153 to
// 180 for the factor and 5.1 to 7.2 for a solve, 6,500 unknowns 68 to 52 and 1.0 to 2.9.
constexpr PetscInt DEFAULT_ORDERING = 1;
constexpr double MEGABYTE = 1048576;

} // namespace

PetscErrorCode read_settings(Mat F, Mat A, Settings& settings) {
    vyr_options& options = settings.options;
    PetscBool known = PETSC_FALSE, spd = PETSC_FALSE;
    PetscFunctionBegin;
    vyr_options_default(&options, sizeof options);
    PetscCall(MatIsSPDKnown(A, &known, &spd));
    PetscInt kind = known && spd ? VYR_KIND_POSITIVE : VYR_KIND_AUTOMATIC, ordering = DEFAULT_ORDERING;
    PetscInt threads = 1, refinements = options.refinements;
    PetscReal memory = 0;
    // The Krylov method around the factor looks at the residual; only a solve on its own needs a limit.
    options.backward_error_limit = 0;

    const char* prefix;
    PetscCall(MatGetOptionsPrefix(F, &prefix));
    PetscOptionsBegin(PetscObjectComm(reinterpret_cast<PetscObject>(F)), prefix, "VYR options", "Mat");
    PetscCall(PetscOptionsEList("-mat_vyr_kind", "What the matrix is", "None", KINDS, 3, KINDS[kind], &kind,
                                nullptr));
    PetscCall(PetscOptionsEList("-mat_vyr_ordering", "Fill-reducing ordering", "None", ORDERINGS, 5,
                                ORDERINGS[ordering], &ordering, nullptr));
    PetscCall(PetscOptionsInt("-mat_vyr_threads", "Threads of a rank; 0: as many as OpenMP offers", "None",
                              threads, &threads, nullptr));
    PetscCall(PetscOptionsInt("-mat_vyr_refinements",
                              "Most refinement steps of a solve; -1: 10 for L D L^T, none for L L^T", "None",
                              refinements, &refinements, nullptr));
    PetscCall(PetscOptionsReal("-mat_vyr_backward_error_limit",
                               "A solve that stays above it is an error; 0: no limit", "None",
                               options.backward_error_limit, &options.backward_error_limit, nullptr));
    PetscCall(PetscOptionsReal("-mat_vyr_pivot_min", "Least diagonal entry of L that L L^T takes", "None",
                               options.pivot_min, &options.pivot_min, nullptr));
    PetscCall(PetscOptionsString("-mat_vyr_directory", "Keep the factor in files of this directory", "None",
                                 settings.directory, settings.directory, sizeof settings.directory, nullptr));
    PetscCall(PetscOptionsReal("-mat_vyr_memory_limit",
                               "With a directory: megabytes the process may take; 0: what there is", "None",
                               memory, &memory, nullptr));
    PetscCall(PetscOptionsBool("-mat_vyr_assume_symmetric",
                               "Read the upper triangle without a look at the lower", "None",
                               settings.assume_symmetric, &settings.assume_symmetric, nullptr));
    PetscOptionsEnd();

    options.kind = static_cast<int32_t>(kind);
    options.ordering = ORDERING_VALUES[ordering];
    options.threads = static_cast<int32_t>(threads);
    options.refinements = static_cast<int32_t>(refinements);
    options.memory_limit = memory * MEGABYTE;
    options.directory = settings.directory[0] != '\0' ? settings.directory : nullptr;
    // L L^T without refinement never looks at the matrix again.
    const bool plain = options.kind == VYR_KIND_POSITIVE && options.refinements <= 0;
    options.keep_matrix = !plain || options.backward_error_limit > 0;
    PetscFunctionReturn(0);
}

} // namespace vyr_petsc
