#include "support/session.h"

namespace vyr::test {

int Session::init(const Csc& a, int type) {
    return VYR_init_ld(a.n, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), type, param.data());
}

bool Session::symbol(const Csc& a) {
    clear();
    handle = VYR_symbol_ld(nullptr, a.n, a.colptr.data(), a.rowind.data());
    return handle != nullptr;
}

int Session::numeric(const Csc& a) {
    return VYR_numeric_ld(nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), handle);
}

int Session::factorize(const Csc& a, int type) {
    if (const int status = init(a, type); status != 0) return status;
    if (!symbol(a)) return to_int(param[VYR_PARAM_STATUS]);
    return numeric(a);
}

std::vector<double> Session::solve(const Csc& a, std::vector<double> b) {
    VYR_solve_ld(handle, nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), b.data());
    return b;
}

std::vector<double> Session::solve_n(const Csc& a, std::vector<double> b, int n_rhs) {
    VYR_solve_N_ld(handle, nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), b.data(), n_rhs);
    return b;
}

void Session::clear() {
    if (handle != nullptr) VYR_clear_ld(handle);
    handle = nullptr;
}

double solve_error(Session& session, const Csc& a, const Csc& lower, std::uint64_t seed) {
    const std::vector<double> b = random_vector(a.n, seed);
    const std::vector<double> x = session.solve(a, b);
    return backward_error(lower, x.data(), b.data());
}

} // namespace vyr::test
