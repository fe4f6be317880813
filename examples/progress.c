/* Progress on the screen, and a user who has had enough half way. */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

static int32_t show(void* user, int32_t phase, double fraction) {
    const char* const names[] = {"analyse", "factorise", "solve"};
    printf("%s: %.0f %%\n", names[phase], 100 * fraction);
    return *(const int*)user && phase == VYR_PHASE_FACTORISE; /* not 0: cancel */
}

int main(void) {
    grid g = make_grid(200, 4);
    int impatient = 1;
    vyr_options options;
    vyr_matrix a;
    vyr_analysis* analysis = NULL;
    vyr_factor* factor = NULL;
    vyr_options_default(&options, sizeof options);
    options.progress = show;
    options.progress_user = &impatient;
    vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
    vyr_status status = vyr_analyse(&a, &options, &analysis);
    if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, &factor);
    if (status == VYR_STATUS_OK) status = vyr_factorise(factor, &a);
    const int cancelled = status == VYR_STATUS_CANCELLED;
    printf("%s\n", vyr_status_text(status));
    impatient = 0;
    status = vyr_factorise(factor, &a); /* the factor is there for another try */
    vyr_factor_free(factor);
    vyr_analysis_free(analysis);
    free_grid(&g);
    return cancelled && status == VYR_STATUS_OK ? 0 : 1;
}
