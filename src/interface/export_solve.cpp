// VYR_solve_ld and VYR_solve_N_ld.
#include "interface/handle.h"
#include "solve/solve_driver.h"

using namespace vyr;

extern "C" int VYR_solve_ld(VYR_handle h, void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                            const double* values, double* b) {
    if (h != nullptr && b != nullptr)
        mf_solve_driver(*from_handle(h), CallerMatrix{n, colPtr, rowInd, values}, b, 1, false);
    return VYR_OK;
}

extern "C" int VYR_solve_N_ld(VYR_handle h, void* /*reserved*/, int n, const int* colPtr, const int* rowInd,
                              const double* values, double* B, int nRhs) {
    if (h != nullptr && B != nullptr && nRhs >= 1)
        mf_solve_driver(*from_handle(h), CallerMatrix{n, colPtr, rowInd, values}, B, nRhs, true);
    return VYR_OK;
}
