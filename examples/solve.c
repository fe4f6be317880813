/* Solves the five-point grid problem on SIDE x SIDE points with a known solution, through vyr.h alone. */
#include <vyr.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { SIDE = 100, N = SIDE * SIDE };

static int col_ptr[N + 1];
static int row_ind[3 * N];
static double values[3 * N];
static double b[N];

/* Lower triangle by columns: the diagonal, the neighbour to the right, the neighbour above. */
static void add_entry(int row, int col, double value) {
    int k = col_ptr[col + 1]++;
    row_ind[k] = row;
    values[k] = value;
    b[row] += value; /* b = A * (1, ..., 1) */
    if (row != col) b[col] += value;
}

static void make_grid(void) {
    for (int j = 0; j < N; ++j) {
        col_ptr[j + 1] = col_ptr[j];
        add_entry(j, j, 4.0);
        if (j % SIDE != SIDE - 1) add_entry(j + 1, j, -1.0);
        if (j + SIDE < N) add_entry(j + SIDE, j, -1.0);
    }
}

static int fail(const char* step, int status) {
    fprintf(stderr, "%s: status %d\n", step, status);
    return EXIT_FAILURE;
}

int main(void) {
    double param[VYR_PARAM_COUNT] = {0.0}; /* must live until VYR_clear_ld */
    make_grid();

    int status = VYR_init_ld(N, N, col_ptr, row_ind, values, VYR_TYPE_SPD, param);
    if (status != VYR_OK) return fail("VYR_init_ld", status);

    VYR_handle h = VYR_symbol_ld(NULL, N, col_ptr, row_ind);
    if (h == NULL) return fail("VYR_symbol_ld", (int)param[VYR_PARAM_STATUS]);

    status = VYR_numeric_ld(NULL, N, col_ptr, row_ind, values, h);               /* again for other values */
    if (status == VYR_OK) VYR_solve_ld(h, NULL, N, col_ptr, row_ind, values, b); /* and other b */
    VYR_clear_ld(h);
    if (status != VYR_OK) return fail("VYR_numeric_ld", status);

    double error = 0.0;
    for (int i = 0; i < N; ++i) error = fmax(error, fabs(b[i] - 1.0));
    printf("%d equations solved, largest error %.1e\n", N, error);
    return error < 1e-9 ? EXIT_SUCCESS : EXIT_FAILURE;
}
