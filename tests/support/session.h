// One matrix driven through the exported functions.
#pragma once

#include "core/faults.h"
#include "interface/handle.h"
#include "interface/process_state.h"
#include "support/matrices.h"
#include "vyr.h"

#include <gtest/gtest.h>

#include <vector>

namespace vyr::test {

/// Faults on demand behind the exported functions, while it lives.
struct ExportFaults : Faults {
    ExportFaults() { process_state().memory.faults = this; }
    ~ExportFaults() { process_state().memory.faults = nullptr; }
    ExportFaults& operator=(ExportFaults&&) = delete;
};

inline double info(InfoSlot slot) {
    return process_state().mf_info[slot];
}

inline double& ctrl(CtrlSlot slot) {
    return process_state().mf_ctrl[slot];
}

/// Holds the parameter array and the handle, and clears the handle when it goes out of scope.
struct Session {
    std::vector<double> param = std::vector<double>(VYR_PARAM_COUNT, 0.0);
    VYR_handle handle = nullptr;

    ~Session() { clear(); }
    Session& operator=(Session&&) = delete;

    int init(const Csc& a, int type = VYR_TYPE_SPD) {
        return VYR_init_ld(a.n, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), type, param.data());
    }
    /// True when a handle came back.
    bool symbol(const Csc& a) {
        clear();
        handle = VYR_symbol_ld(nullptr, a.n, a.colptr.data(), a.rowind.data());
        return handle != nullptr;
    }
    int numeric(const Csc& a) {
        return VYR_numeric_ld(nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), handle);
    }
    /// init, symbol and numeric: the first status that is not 0, or 0.
    int factorize(const Csc& a, int type = VYR_TYPE_SPD) {
        if (const int status = init(a, type); status != 0) return status;
        return symbol(a) ? numeric(a) : to_int(param[VYR_PARAM_STATUS]);
    }
    /// The solution of A x = b.
    std::vector<double> solve(const Csc& a, std::vector<double> b) {
        VYR_solve_ld(handle, nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), b.data());
        return b;
    }
    std::vector<double> solve_n(const Csc& a, std::vector<double> b, int n) {
        VYR_solve_N_ld(handle, nullptr, a.n, a.colptr.data(), a.rowind.data(), a.values.data(), b.data(), n);
        return b;
    }
    void clear() {
        if (handle != nullptr) VYR_clear_ld(handle);
        handle = nullptr;
    }
};

/// Backward error of a solve with a random right-hand side.
inline double solve_error(Session& session, const Csc& a, const Csc& lower, std::uint64_t seed = 7) {
    const std::vector<double> b = random_vector(a.n, seed), x = session.solve(a, b);
    return backward_error(lower, x.data(), b.data());
}

} // namespace vyr::test
