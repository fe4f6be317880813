/* Sixteen right-hand sides at once cost little more than a few. */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

enum { COLUMNS = 16 };

int main(void) {
    grid g = make_grid(100, 4);
    double* b = malloc((size_t)g.n * COLUMNS * sizeof *b);
    for (int32_t i = 0; i < g.n * COLUMNS; ++i) b[i] = i % 7 - 3;
    vyr_matrix a;
    vyr_analysis* analysis = NULL;
    vyr_factor* factor = NULL;
    vyr_solve_info one = {.size = sizeof one}, all = {.size = sizeof all};
    vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
    vyr_status status = vyr_analyse(&a, NULL, &analysis);
    if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, &factor);
    if (status == VYR_STATUS_OK) status = vyr_factorise(factor, &a);
    double* x = malloc((size_t)g.n * COLUMNS * sizeof *x);
    if (status == VYR_STATUS_OK) status = vyr_solve(factor, 1, b, g.n, x, g.n, &one);
    if (status == VYR_STATUS_OK) status = vyr_solve(factor, COLUMNS, b, g.n, x, g.n, &all);
    printf("1: %.1e s, %d: %.1e s, backward error %.1e\n", one.seconds, COLUMNS, all.seconds,
           all.backward_error);
    vyr_factor_free(factor);
    vyr_analysis_free(analysis);
    free_grid(&g);
    free(b);
    free(x);
    return status == VYR_STATUS_OK && all.backward_error < 1e-14 ? 0 : 1;
}
