/* A host that knows the DLL by name only: loads it, solves, gives it back, and does so again. */
#include <vyr.h>

#include <stdio.h>
#include <string.h>
#include <windows.h>

enum { N = 20000 };

static int col_ptr[N + 1], row_ind[2 * N];
static double values[2 * N], b[N], param[VYR_PARAM_COUNT];

static const char* const names[] = {"VYR_init_ld",    "VYR_param_ld", "VYR_symbol_ld",
                                    "VYR_numeric_ld", "VYR_solve_ld", "VYR_solve_N_ld",
                                    "VYR_pivot_ld",   "VYR_clear_ld", "mf_dump_ld"};
enum { INIT, PARAM, SYMBOL, NUMERIC, SOLVE, SOLVE_N, PIVOT, CLEAR, DUMP, COUNT };

typedef int (*init_fn)(int, int, const int*, const int*, const double*, int, double*);
typedef VYR_handle (*symbol_fn)(void*, int, const int*, const int*);
typedef int (*numeric_fn)(void*, int, const int*, const int*, const double*, VYR_handle);
typedef int (*solve_fn)(VYR_handle, void*, int, const int*, const int*, const double*, double*);
typedef int (*clear_fn)(VYR_handle);

/* Copies a function's address into a pointer of its own type. */
static void get(FARPROC from, void* to) {
    memcpy(to, &from, sizeof from);
}

static int solve_once(const char* path) {
    HMODULE library = LoadLibraryA(path);
    FARPROC found[COUNT];
    init_fn init;
    symbol_fn symbol;
    numeric_fn numeric;
    solve_fn solve;
    clear_fn clear;
    VYR_handle h;
    double error = 0.0;
    if (library == NULL) return printf("LoadLibrary: %lu\n", GetLastError());
    for (int i = 0; i < COUNT; ++i) {
        found[i] = GetProcAddress(library, names[i]);
        if (found[i] == NULL) return printf("there is no %s\n", names[i]);
    }
    get(found[INIT], &init);
    get(found[SYMBOL], &symbol);
    get(found[NUMERIC], &numeric);
    get(found[SOLVE], &solve);
    get(found[CLEAR], &clear);
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
    h = symbol(NULL, N, col_ptr, row_ind);
    if (h == NULL || numeric(NULL, N, col_ptr, row_ind, values, h) != 0) return printf("numeric\n");
    solve(h, NULL, N, col_ptr, row_ind, values, b);
    clear(h);
    for (int i = 0; i < N; ++i)
        error = b[i] - 1.0 > error ? b[i] - 1.0 : 1.0 - b[i] > error ? 1.0 - b[i] : error;
    if (!(error < 1e-12)) return printf("largest error %g\n", error);
    FreeLibrary(library);
    Sleep(300); /* OpenMP's threads are still about; their code must be, too */
    return 0;
}

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    for (int round = 0; round < 2; ++round)
        if (solve_once(argv[1]) != 0) return 1;
    puts("loaded, solved and given back twice");
    return 0;
}
