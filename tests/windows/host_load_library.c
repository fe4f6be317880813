/* A host that knows the DLL by name only: loads it, solves, gives it back, and does so again. */
#include <vyr.h>

#include <math.h>
#include <stdio.h>
#include <windows.h>

#define CALL(name) ((__typeof__(&name))(void (*)(void))GetProcAddress(library, #name))
enum { N = 20000 };

static int col_ptr[N + 1], row_ind[2 * N];
static double values[2 * N], b[N], param[VYR_PARAM_COUNT];

static int solve_once(const char* path) {
    double error = 0.0;
    HMODULE library = LoadLibraryA(path);
    if (library == NULL) return printf("code %lu\n", GetLastError());
    for (int j = 0; j < N; ++j) { /* the rows of a chain: 4 on the diagonal, -1 beside it */
        b[j] = j == 0 || j == N - 1 ? 3.0 : 2.0;
        col_ptr[j + 1] = 2 * (j + 1) - (j == N - 1);
        row_ind[2 * j] = j;
        values[2 * j] = 4.0;
        row_ind[2 * j + 1] = j + 1;
        values[2 * j + 1] = -1.0;
    }
    if (CALL(VYR_init_ld)(N, N, col_ptr, row_ind, values, VYR_TYPE_SPD, param) != 0) return printf("init\n");
    VYR_handle h = CALL(VYR_symbol_ld)(NULL, N, col_ptr, row_ind);
    if (CALL(VYR_numeric_ld)(NULL, N, col_ptr, row_ind, values, h) != 0) return printf("numeric\n");
    CALL(VYR_solve_ld)(h, NULL, N, col_ptr, row_ind, values, b);
    CALL(VYR_clear_ld)(h);
    for (int i = 0; i < N; ++i) error = fmax(error, fabs(b[i] - 1.0));
    FreeLibrary(library);
    Sleep(300); /* OpenMP's threads are still about; their code must be, too */
    return error < 1e-12 ? 0 : printf("largest error %g\n", error);
}

int main(int argc, char** argv) {
    return argc == 2 && solve_once(argv[1]) == 0 && solve_once(argv[1]) == 0 ? 0 : 1;
}
