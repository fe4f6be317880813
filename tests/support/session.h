// One matrix driven through the exported functions.
#pragma once

#include "core/faults.h"
#include "interface/handle.h"
#include "interface/process_state.h"
#include "support/matrices.h"
#include "vyr.h"

#include <vector>

namespace vyr::test {

/// Faults on demand behind the exported functions, while it lives.
struct ExportFaults : Faults {
    ExportFaults() { process_state().memory.faults = this; }
    ~ExportFaults() { process_state().memory.faults = nullptr; }
    ExportFaults(const ExportFaults&) = delete;
    ExportFaults& operator=(const ExportFaults&) = delete;
};

inline double info(InfoSlot slot) {
    return process_state().mf_info[slot];
}

inline double& ctrl(CtrlSlot slot) {
    return process_state().mf_ctrl[slot];
}

/// Holds the parameter array and the handle, and clears the handle when it goes out of scope.
class Session {
public:
    std::vector<double> param = std::vector<double>(VYR_PARAM_COUNT, 0.0);
    VYR_handle handle = nullptr;

    Session() = default;
    ~Session() { clear(); }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int init(const Csc& a, int type = VYR_TYPE_SPD);
    /// True when a handle came back.
    bool symbol(const Csc& a);
    int numeric(const Csc& a);
    /// init, symbol and numeric: the first status that is not 0, or 0.
    int factorize(const Csc& a, int type = VYR_TYPE_SPD);
    /// The solution of A x = b.
    std::vector<double> solve(const Csc& a, std::vector<double> b);
    std::vector<double> solve_n(const Csc& a, std::vector<double> b, int n_rhs);
    void clear();
};

/// Backward error of a solve with a random right-hand side.
double solve_error(Session& session, const Csc& a, const Csc& lower, std::uint64_t seed = 7);

} // namespace vyr::test
