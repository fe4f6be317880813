/* A host that knows the DLL by name only: loads it, solves, gives it back, and does so again. */
#include <vyr.h>

#include <math.h>
#include <stdio.h>
#include <string.h>
#include <windows.h>

enum { N = 20000 };

static int col_ptr[N + 1], row_ind[2 * N];
static double values[2 * N], b[N], param[VYR_PARAM_COUNT];

/* Copies the address of a function into a pointer of its own type. */
static int get(HMODULE library, const char* name, void* to) {
    const FARPROC found = GetProcAddress(library, name);
    memcpy(to, &found, sizeof found);
    return found != NULL;
}

static int solve_once(const char* path) {
    HMODULE library = LoadLibraryA(path);
    __typeof__(&VYR_init_ld) init;
    __typeof__(&VYR_symbol_ld) symbol;
    __typeof__(&VYR_numeric_ld) numeric;
    __typeof__(&VYR_solve_ld) solve;
    __typeof__(&VYR_clear_ld) clear;
    double error = 0.0;
    if (!library || !get(library, "VYR_init_ld", &init) || !get(library, "VYR_symbol_ld", &symbol) ||
        !get(library, "VYR_numeric_ld", &numeric) || !get(library, "VYR_solve_ld", &solve) ||
        !get(library, "VYR_clear_ld", &clear))
        return printf("code %lu\n", GetLastError());
    for (int j = 0; j < N; ++j) { /* the rows of a chain: 4 on the diagonal, -1 beside it */
        b[j] = j == 0 || j == N - 1 ? 3.0 : 2.0;
        col_ptr[j] = 2 * j;
        row_ind[2 * j] = j;
        values[2 * j] = 4.0;
        row_ind[2 * j + 1] = j + 1;
        values[2 * j + 1] = -1.0;
    }
    col_ptr[N] = 2 * N - 1;
    if (init(N, N, col_ptr, row_ind, values, VYR_TYPE_SPD, param) != 0) return printf("init\n");
    VYR_handle h = symbol(NULL, N, col_ptr, row_ind);
    if (h == NULL || numeric(NULL, N, col_ptr, row_ind, values, h) != 0) return printf("numeric\n");
    solve(h, NULL, N, col_ptr, row_ind, values, b);
    clear(h);
    for (int i = 0; i < N; ++i) error = fmax(error, fabs(b[i] - 1.0));
    if (!(error < 1e-12)) return printf("largest error %g\n", error);
    FreeLibrary(library);
    Sleep(300); /* OpenMP's threads are still about; their code must be, too */
    return 0;
}

int main(int argc, char** argv) {
    return argc == 2 && solve_once(argv[1]) == 0 && solve_once(argv[1]) == 0 ? 0 : 1;
}
