/* Implicit Euler with a time step that changes: one analysis, many factorizations of the same pattern. */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

int main(void) {
    grid g = make_grid(80, 4);
    double* u = malloc((size_t)g.n * sizeof *u);
    for (int32_t i = 0; i < g.n; ++i) u[i] = i == g.n / 2 + 40;
    vyr_matrix a;
    vyr_analysis* analysis = NULL;
    vyr_factor* factor = NULL;
    vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
    vyr_status status = vyr_analyse(&a, NULL, &analysis);
    if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, &factor);
    double step = 0.1;
    for (int k = 0; k < 10 && status == VYR_STATUS_OK; ++k, step *= 1.5) {
        /* (I + step * K) u_new = u */
        for (int32_t j = 0; j < g.n; ++j)
            for (int32_t e = g.ptr[j]; e < g.ptr[j + 1]; ++e)
                g.values[e] = g.ind[e] == j ? 1 + 4 * step : -step;
        status = vyr_factorise(factor, &a);
        if (status == VYR_STATUS_OK) status = vyr_solve(factor, 1, u, g.n, u, g.n, NULL);
    }
    double sum = 0;
    for (int32_t i = 0; i < g.n; ++i) sum += u[i];
    printf("%s; heat left: %.4f\n", vyr_status_text(status), sum);
    vyr_factor_free(factor);
    vyr_analysis_free(analysis);
    free_grid(&g);
    free(u);
    return status == VYR_STATUS_OK && sum > 0 && sum < 1 ? 0 : 1;
}
