#include "interface/handle.h"
#include "interface/pivot_report.h"

extern "C" int VYR_pivot_ld(VYR_handle h, double* pivots, int* marks) {
    if (h == nullptr || pivots == nullptr || marks == nullptr) return VYR_OK;
    vyr::mf_pivot_report(*vyr::from_handle(h), pivots, marks);
    return VYR_OK;
}
