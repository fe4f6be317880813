/* One system: analyse, factorise, solve, judge. */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

int main(void) {
    grid g = make_grid(100, 4);
    double* x = malloc((size_t)g.n * sizeof *x);
    for (int32_t i = 0; i < g.n; ++i) x[i] = 1;

    vyr_matrix a;
    vyr_analysis* analysis = NULL;
    vyr_factor* factor = NULL;
    vyr_solve_info info = {.size = sizeof info};
    vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
    vyr_status status = vyr_analyse(&a, NULL, &analysis);
    if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, &factor);
    if (status == VYR_STATUS_OK) status = vyr_factorise(factor, &a);
    if (status == VYR_STATUS_OK) status = vyr_solve(factor, 1, x, g.n, x, g.n, &info);
    if (status == VYR_STATUS_OK)
        printf("x[0] = %.6f, backward error %.1e\n", x[0], info.backward_error);
    else
        printf("%s: %s%s\n", vyr_status_text(status), vyr_analysis_message(analysis),
               vyr_factor_message(factor));

    vyr_factor_free(factor);
    vyr_analysis_free(analysis);
    free_grid(&g);
    free(x);
    return status == VYR_STATUS_OK && info.backward_error < 1e-14 ? 0 : 1;
}
