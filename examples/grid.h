/* The matrix of the examples: the five-point Laplacian of a square grid, lower triangle by columns. */
#ifndef VYR_EXAMPLES_GRID_H
#define VYR_EXAMPLES_GRID_H

#include <stdint.h>
#include <stdlib.h>

typedef struct {
    int32_t n, *ptr, *ind;
    double* values;
} grid;

/* side * side equations, `diagonal` on the diagonal. */
static inline grid make_grid(int32_t side, double diagonal) {
    const int32_t n = side * side;
    grid a = {n, (int32_t*)malloc((size_t)(n + 1) * 4), (int32_t*)malloc((size_t)n * 12),
              (double*)malloc((size_t)n * 24)};
    int32_t k = 0;
    for (int32_t i = 0; i < n; ++i) {
        a.ptr[i] = k;
        a.ind[k] = i, a.values[k++] = diagonal;
        if (i % side + 1 < side) a.ind[k] = i + 1, a.values[k++] = -1;
        if (i + side < n) a.ind[k] = i + side, a.values[k++] = -1;
    }
    a.ptr[n] = k;
    return a;
}

static inline void free_grid(grid* a) {
    free(a->ptr);
    free(a->ind);
    free(a->values);
}

#endif
