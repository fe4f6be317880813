/* A host without any run time, for Microsoft's way of linking: import library in the short form, unused code
 * thrown away. */
typedef struct mf_solver* VYR_handle;
__declspec(dllimport) int VYR_init_ld(int, int, const int*, const int*, const double*, int, double*);
__declspec(dllimport) VYR_handle VYR_symbol_ld(void*, int, const int*, const int*);
__declspec(dllimport) int VYR_numeric_ld(void*, int, const int*, const int*, const double*, VYR_handle);
__declspec(dllimport) int VYR_solve_ld(VYR_handle, void*, int, const int*, const int*, const double*,
                                       double*);
__declspec(dllimport) int VYR_clear_ld(VYR_handle);
__declspec(dllimport) void ExitProcess(unsigned);

void start(void) {
    static const int col_ptr[] = {0, 2, 3}, row_ind[] = {0, 1, 1};
    static const double values[] = {4.0, 1.0, 3.0};
    static double b[] = {9.0, 5.0}, param[26];
    VYR_handle h;
    if (VYR_init_ld(2, 2, col_ptr, row_ind, values, 11, param) != 0) ExitProcess(1);
    h = VYR_symbol_ld(0, 2, col_ptr, row_ind);
    if (VYR_numeric_ld(0, 2, col_ptr, row_ind, values, h) != 0) ExitProcess(2);
    VYR_solve_ld(h, 0, 2, col_ptr, row_ind, values, b);
    VYR_clear_ld(h);
    ExitProcess(b[0] > 1.999999 && b[0] < 2.000001 && b[1] > 0.999999 && b[1] < 1.000001 ? 0 : 3);
}
