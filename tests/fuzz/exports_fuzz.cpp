// The nine functions in any order, with matrices good and bad, handles live, null and released.
#include "fuzz/bytes.h"
#include "vyr.h"

#include <vector>

using namespace vyr::test;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int TYPES[] = {2, 10, 11, 12, 13, 14, 0, -1};
    static double param[VYR_PARAM_COUNT];
    Bytes bytes(data, size);
    Csc a = bytes.matrix();
    std::vector<VYR_handle> handles = {nullptr};
    std::vector<double> b(20 * 3, 1.0), pivots(20);
    std::vector<int> marks(20);
    while (!bytes.empty()) {
        const int call = bytes.below(10), n = bytes.below(8) == 0 ? bytes.below(16) - 3 : a.n;
        // The pointers of a wrong order would end elsewhere.
        const int order = n <= a.n ? n : a.n;
        const bool null = bytes.below(16) == 0;
        const int *ptr = null ? nullptr : a.colptr.data(), *ind = a.rowind.data();
        VYR_handle h = handles[static_cast<std::size_t>(bytes.below(static_cast<int>(handles.size())))];
        int status = 0;
        if (call == 0) a = bytes.matrix();
        if (call == 1) param[VYR_PARAM_PIVOT_MIN + bytes.below(3)] = bytes.value();
        if (call == 1) param[VYR_PARAM_CORE_MODE] = bytes.below(8);
        if (call == 2)
            status = VYR_init_ld(order, order, ptr, ind, a.values.data(), TYPES[bytes.below(8)], param);
        if (call == 3) status = VYR_param_ld(null ? nullptr : param);
        if (call == 4 || call == 5) handles.push_back(VYR_symbol_ld(nullptr, order, ptr, ind));
        if (call == 6) status = VYR_numeric_ld(nullptr, order, ptr, ind, null ? nullptr : a.values.data(), h);
        if (call == 7) VYR_solve_ld(h, nullptr, order, ptr, ind, a.values.data(), null ? nullptr : b.data());
        if (call == 8)
            VYR_solve_N_ld(h, nullptr, order, ptr, ind, a.values.data(), b.data(), bytes.below(5) - 1);
        if (call == 9) VYR_pivot_ld(h, pivots.data(), marks.data());
        if (call == 9 && bytes.below(2) == 0) status = VYR_clear_ld(h);
        require(status <= 0 && status >= -1210);
    }
    for (VYR_handle h : handles) VYR_clear_ld(h); // released ones, too
    return 0;
}
