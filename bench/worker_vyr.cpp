// VYR through its exported functions; statistics that they do not hand out come from the core.
#include "bench/direct_solver.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "vyr.h"

namespace vyr::bench {

namespace {

[[noreturn]] void fail(const char* phase, int status) {
    throw SolverError(std::string(phase) + " ended with status " + std::to_string(status));
}

class Vyr final : public DirectSolver {
public:
    Vyr(const tool::SparseMatrix& a, Definiteness kind) : a_(a), kind_(kind) {}
    ~Vyr() override { VYR_clear_ld(handle_); }

    void analyse() override {
        init(VYR_TYPE_SPD);
        handle_ = VYR_symbol_ld(nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data());
        if (handle_ == nullptr) fail("analysis", to_int(param_[VYR_PARAM_STATUS]));
        // The analysis puts the positive definite type in force; the other one is asked for afterwards.
        if (kind_ == Definiteness::INDEFINITE) init(VYR_TYPE_INDEFINITE);
    }

    void factorise() override {
        const int status =
            VYR_numeric_ld(nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(), handle_);
        if (status != VYR_OK) fail("factorization", status);
    }

    void solve(tool::DenseMatrix& x) override {
        // L D L^T serves one right-hand side a call.
        if (kind_ == Definiteness::POSITIVE && x.n_cols > 1) {
            VYR_solve_N_ld(handle_, nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(),
                           x.values.data(), x.n_cols);
        } else {
            for (std::int32_t k = 0; k < x.n_cols; ++k)
                VYR_solve_ld(handle_, nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(),
                             x.column(k));
        }
        if (info_status() != VYR_OK) fail("solve", info_status());
    }

    double flops() const override { return mf_info[INFO_FLOPS]; }

    double factor_entries() const override {
        return static_cast<double>(from_handle(handle_)->factor_entries);
    }

    std::string version() const override { return VERSION_STRING; }

private:
    void init(int type) {
        const int status =
            VYR_init_ld(a_.n, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(), type, param_);
        if (status != VYR_OK) fail("input check", status);
    }

    const tool::SparseMatrix& a_;
    Definiteness kind_;
    double param_[VYR_PARAM_COUNT] = {};
    VYR_handle handle_ = nullptr;
};

} // namespace

std::unique_ptr<DirectSolver> make_vyr(const tool::SparseMatrix& a, Definiteness kind) {
    return std::make_unique<Vyr>(a, kind);
}

} // namespace vyr::bench
