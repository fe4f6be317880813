/* Asks the OpenBLAS that the library brought into the process how it runs in parallel. */
#define _GNU_SOURCE
#include "vyr.h"

#include <dlfcn.h>
#include <stdio.h>

enum { OPENBLAS_OPENMP = 2 };

int main(void) {
    int (*get_parallel)(void) = 0;
    if (VYR_param_ld(0) != 0) return 1;
    *(void**)&get_parallel = dlsym(RTLD_DEFAULT, "openblas_get_parallel");
    if (get_parallel == 0) {
        puts("no OpenBLAS in this process");
        return 1;
    }
    printf("openblas_get_parallel: %d\n", get_parallel());
    return get_parallel() == OPENBLAS_OPENMP ? 0 : 1;
}
