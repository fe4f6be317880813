/* How many eigenvalues of K lie below a shift: the inertia of K - shift I (Sylvester). */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

int main(void) {
    long long before = 0;
    int failed = 0;
    for (double shift = 0.73; shift < 8; shift += 1.3) {
        grid g = make_grid(40, 4 - shift);
        vyr_options options;
        vyr_matrix a;
        vyr_analysis* analysis = NULL;
        vyr_factor* factor = NULL;
        vyr_factor_info info = {.size = sizeof info};
        vyr_options_default(&options, sizeof options);
        options.kind = VYR_KIND_INDEFINITE;
        vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
        vyr_status status = vyr_analyse(&a, &options, &analysis);
        if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, &factor);
        if (status == VYR_STATUS_OK) status = vyr_factorise(factor, &a);
        if (status == VYR_STATUS_OK) status = vyr_factor_get_info(factor, &info);
        printf("%lld eigenvalues below %.1f\n", (long long)info.negative, shift);
        failed |= status != VYR_STATUS_OK || info.negative < before || info.negative + info.positive != g.n;
        before = info.negative;
        vyr_factor_free(factor);
        vyr_analysis_free(analysis);
        free_grid(&g);
    }
    return failed;
}
