// VYR through its exported functions, prepared as `vyr solve` does it; statistics that they do not hand out
// come from the core.
#include "bench/direct_solver.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "tools/vyr/out_of_core.h"
#include "tools/vyr/pivot_pairs.h"
#include "tools/vyr/refinement.h"
#include "vyr.h"

#include <optional>

namespace vyr::bench {

namespace {

[[noreturn]] void fail(const char* phase, int status) {
    throw SolverError(std::string(phase) + " ended with status " + std::to_string(status));
}

class Vyr final : public DirectSolver {
public:
    explicit Vyr(const Problem& problem) : problem_(problem) {
        if (indefinite() && !problem.folder.empty())
            throw SolverError("is measured out of core on positive definite matrices only");
    }
    ~Vyr() override { VYR_clear_ld(handle_); }

    void analyse() override {
        if (indefinite()) {
            paired_ = tool::pair_weak_diagonals(problem_.matrix);
            param_[VYR_PARAM_BLOCKED] = 1; // keeps tied equations together
        }
        init(VYR_TYPE_SPD);
        run_.emplace(tool::OutOfCore{problem_.folder, problem_.memory_limit_bytes});
        handle_ = run_->analyse(a().n, a().col_ptr.data(), a().row_ind.data(), VYR_TYPE_SPD);
        if (handle_ == nullptr) fail("analysis", to_int(param_[VYR_PARAM_STATUS]));
        // The analysis puts the positive definite type in force; the other one is asked for afterwards.
        if (indefinite()) init(VYR_TYPE_INDEFINITE);
    }

    void factorise() override {
        const int status = VYR_numeric_ld(nullptr, a().n, a().col_ptr.data(), a().row_ind.data(),
                                          a().values.data(), handle_);
        if (status != VYR_OK) fail("factorization", status);
    }

    void solve(tool::DenseMatrix& x) override {
        if (indefinite())
            solve_indefinite(x);
        else if (x.n_cols > 1 && problem_.folder.empty())
            VYR_solve_N_ld(handle_, nullptr, a().n, a().col_ptr.data(), a().row_ind.data(), a().values.data(),
                           x.values.data(), x.n_cols);
        else
            solve_columns(x);
        if (info_status() != VYR_OK) fail("solve", info_status());
    }

    double flops() const override { return mf_info[INFO_FLOPS]; }

    double factor_entries() const override {
        return static_cast<double>(from_handle(handle_)->factor_entries);
    }

    double file_seconds() const override {
        return problem_.folder.empty() ? DirectSolver::file_seconds() : mf_info[INFO_T_FILE_WRITE] / 1000;
    }

    std::string version() const override { return VERSION_STRING; }

private:
    bool indefinite() const { return problem_.kind == Definiteness::INDEFINITE; }
    const tool::SparseMatrix& a() const { return indefinite() ? paired_.matrix : problem_.matrix; }

    void init(int type) {
        const int status = VYR_init_ld(a().n, a().n, a().col_ptr.data(), a().row_ind.data(),
                                       a().values.data(), type, param_);
        if (status != VYR_OK) fail("input check", status);
    }

    void solve_columns(tool::DenseMatrix& x) {
        for (std::int32_t k = 0; k < x.n_cols; ++k)
            VYR_solve_ld(handle_, nullptr, a().n, a().col_ptr.data(), a().row_ind.data(), a().values.data(),
                         x.column(k));
    }

    void solve_indefinite(tool::DenseMatrix& x) {
        tool::DenseMatrix b = x;
        for (std::int32_t j = 0; j < x.n_cols; ++j)
            for (std::int32_t k = 0; k < x.n_rows; ++k) b.column(j)[k] = x.column(j)[equation(k)];
        tool::DenseMatrix y = b;
        solve_columns(y);
        tool::refine(a(), handle_, b, y);
        for (std::int32_t j = 0; j < x.n_cols; ++j)
            for (std::int32_t k = 0; k < x.n_rows; ++k) x.column(j)[equation(k)] = y.column(j)[k];
    }

    std::int32_t equation(std::int32_t k) const { return paired_.order[static_cast<std::size_t>(k)]; }

    const Problem& problem_;
    tool::PairedMatrix paired_; ///< of an indefinite matrix
    double param_[VYR_PARAM_COUNT] = {};
    std::optional<tool::OutOfCoreRun> run_;
    VYR_handle handle_ = nullptr;
};

} // namespace

std::unique_ptr<DirectSolver> make_vyr(const Problem& problem) {
    return std::make_unique<Vyr>(problem);
}

} // namespace vyr::bench
