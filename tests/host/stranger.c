/* A host that has functions by the names of the BLAS, which do nothing. It loads the library by hand, solves
 * with it on two threads, unloads it, and lives on while the threads that the library started wait. */
#define _GNU_SOURCE
#include "vyr/solver.h"

#include <dlfcn.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

void dgemm_(void) {}
void dsyrk_(void) {}
void dtrsm_(void) {}
void dgemv_(void) {}
void dtrsv_(void) {}
void dswap_(void) {}
void daxpy_(void) {}
char* openblas_get_corename(void) {
    return "another";
}

enum { N = 600, BAND = 300 };
static int32_t ptr[N + 1], ind[N * (BAND + 1)];
static double values[N * (BAND + 1)], x[N];

/* Fills the matrix and A times ones. */
static void fill(void) {
    for (int j = 0, e = 0; j < N; ++j) {
        for (int i = j; i < N && i <= j + BAND; ++i, ++e) {
            ind[e] = i;
            values[e] = i == j ? 4 * BAND : 1 + 0.5 * sin(e);
            x[i] += values[e];
            if (i != j) x[j] += values[e];
        }
        ptr[j + 1] = e;
    }
}

#define CALL(name) __typeof__(name)* name##_ = (__typeof__(name)*)dlsym(library, #name)

/* The status of the factorization; the error of the solution in *error. */
static int solve(void* library, double* error) {
    CALL(vyr_options_default);
    CALL(vyr_matrix_lower);
    CALL(vyr_analyse);
    CALL(vyr_factor_create);
    CALL(vyr_factorise);
    CALL(vyr_solve);
    CALL(vyr_factor_free);
    CALL(vyr_analysis_free);
    vyr_options options;
    vyr_options_default_(&options, sizeof options);
    options.threads = 2;
    vyr_matrix matrix;
    vyr_matrix_lower_(&matrix, sizeof matrix, N, ptr, ind, values);
    vyr_analysis* analysis;
    vyr_factor* factor;
    if (vyr_analyse_(&matrix, &options, &analysis) != 0) return 1;
    if (vyr_factor_create_(analysis, NULL, &factor) != 0) return 1;
    const int status = vyr_factorise_(factor, &matrix);
    if (status == 0 && vyr_solve_(factor, 1, x, N, x, N, NULL) != 0) return 1;
    for (int i = 0; i < N; ++i) *error = fmax(*error, fabs(x[i] - 1));
    vyr_factor_free_(factor);
    vyr_analysis_free_(analysis);
    return status;
}

int main(int argc, char** argv) {
    if (argc < 3) return 2;
    fill();
    void* const library = dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL);
    if (library == NULL) return 3;
    double error = 0;
    const int status = solve(library, &error);
    const int expected = strcmp(argv[2], "own") == 0 ? 0 : VYR_STATUS_BLAS;
    printf("status %d, error %g\n", status, error);
    if (status != expected || (status == 0 && !(error < 1e-10))) return 1;
    dlclose(library);
    usleep(200000);
    return dlopen(argv[1], RTLD_NOW) == NULL;
}
