/* What a host does when a factorization fails. */
#include "grid.h"

#include <stdio.h>
#include <vyr/solver.h>

/* Factorises as positive definite first; says what is wrong, and goes on where that makes sense. */
static vyr_status robust(const vyr_matrix* a, vyr_factor** factor) {
    vyr_options options;
    vyr_options_default(&options, sizeof options);
    for (;;) {
        vyr_analysis* analysis = NULL;
        vyr_status status = vyr_analyse(a, &options, &analysis);
        if (status != VYR_STATUS_OK) printf("analysis: %s\n", vyr_analysis_message(analysis));
        if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, NULL, factor);
        if (status == VYR_STATUS_OK) status = vyr_factorise(*factor, a);
        vyr_analysis_free(analysis);
        if (status == VYR_STATUS_OK) return status;
        printf("factorization: %s\n", vyr_factor_message(*factor));
        if (status == VYR_STATUS_NOT_POSITIVE && options.kind == VYR_KIND_POSITIVE)
            options.kind = VYR_KIND_INDEFINITE; /* the model may be meant so */
        else if ((status == VYR_STATUS_MEMORY || status == VYR_STATUS_TOO_LARGE) && options.directory == NULL)
            options.directory = "."; /* the factor into files */
        else
            return status; /* singular, a broken matrix, a full disk: the caller's business */
        vyr_factor_free(*factor);
        *factor = NULL;
    }
}

int main(void) {
    int failed = 0;
    for (int k = 0; k < 2; ++k) {
        grid g = make_grid(30, k == 0 ? 3.3 : 4); /* indefinite; then with an entry that is no number */
        vyr_matrix a;
        vyr_factor* factor = NULL;
        if (k == 1) g.values[5] = g.values[5] / 0.0 * 0.0;
        vyr_matrix_lower(&a, sizeof a, g.n, g.ptr, g.ind, g.values);
        const vyr_status status = robust(&a, &factor);
        printf("%s\n", vyr_status_text(status));
        failed |= status != (k == 0 ? VYR_STATUS_OK : VYR_STATUS_NOT_FINITE);
        vyr_factor_free(factor);
        free_grid(&g);
    }
    return failed;
}
