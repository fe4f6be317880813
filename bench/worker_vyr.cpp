// VYR as hosts use it: positive definite in core through the nine functions, everything else through the
// engine as `vyr solve` does. Statistics that the nine functions do not hand out come from their process-wide
// state.
#include "bench/direct_solver.h"

#include "engine/system.h"
#include "interface/handle.h"
#include "interface/process_state.h"
#include "report/report.h"
#include "vyr.h"

namespace vyr::bench {

namespace {

void require_ok(const char* phase, int status) {
    if (status != VYR_OK)
        throw SolverError(std::string(phase) + " ended with status " + std::to_string(status));
}

class Vyr : public DirectSolver {
public:
    std::string version() const override { return VERSION_STRING; }
};

class NineFunctions final : public Vyr {
public:
    explicit NineFunctions(const Problem& problem) : a_(problem.matrix) {}
    ~NineFunctions() override { VYR_clear_ld(handle_); }

    void analyse() override {
        require_ok("input check", VYR_init_ld(a_.n, a_.n, a_.col_ptr.data(), a_.row_ind.data(),
                                              a_.values.data(), VYR_TYPE_SPD, param_));
        handle_ = VYR_symbol_ld(nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data());
        if (handle_ == nullptr) require_ok("analysis", to_int(param_[VYR_PARAM_STATUS]));
    }

    void factorise() override {
        require_ok("factorization", VYR_numeric_ld(nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(),
                                                   a_.values.data(), handle_));
    }

    void solve(tool::DenseMatrix& x) override {
        if (x.n_cols > 1)
            VYR_solve_N_ld(handle_, nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(),
                           x.values.data(), x.n_cols);
        else
            VYR_solve_ld(handle_, nullptr, a_.n, a_.col_ptr.data(), a_.row_ind.data(), a_.values.data(),
                         x.values.data());
        require_ok("solve", to_int(process_state().mf_info[INFO_STATUS]));
    }

    double flops() const override { return process_state().mf_info[INFO_FLOPS]; }
    double factor_entries() const override { return static_cast<double>(handle_->analysis.factor_entries); }

private:
    const tool::SparseMatrix& a_;
    double param_[VYR_PARAM_COUNT] = {};
    VYR_handle handle_ = nullptr;
};

class Engine final : public Vyr {
public:
    explicit Engine(const Problem& problem)
        : problem_(problem),
          a_{{problem.matrix.n, problem.matrix.col_ptr.data(), problem.matrix.row_ind.data()},
             problem.matrix.values.data()},
          context_(memory_),
          system_(memory_) {
        const bool indefinite = problem.kind == Definiteness::INDEFINITE;
        if (indefinite && in_files())
            throw SolverError("is measured out of core on positive definite matrices only");
        context_.settings.type = indefinite ? TYPE_LDLT : TYPE_SPD;
        context_.settings.core_mode = in_files() ? CORE_OUT : CORE_IN;
        context_.settings.directory = problem.folder.c_str();
    }

    void analyse() override {
        require_ok("analysis", code(mf_analyse_system(context_, a_, problem_.memory_limit_bytes, system_)));
    }

    void factorise() override {
        require_ok("factorization", code(mf_factorise_system(context_, a_, system_)));
    }

    void solve(tool::DenseMatrix& x) override {
        const tool::DenseMatrix b = x;
        int refinements = 0;
        require_ok("solve", code(mf_solve_system(context_, system_, a_, b.values.data(), x.values.data(),
                                                 x.n_cols, refinements)));
    }

    double flops() const override { return context_.statistics.flops; }
    double factor_entries() const override { return static_cast<double>(system_.analysis.factor_entries); }
    double file_seconds() const override {
        return in_files() ? context_.statistics.t_file_write / 1000 : DirectSolver::file_seconds();
    }

private:
    bool in_files() const { return !problem_.folder.empty(); }

    const Problem& problem_;
    const Matrix a_;
    Accounting memory_;
    Context context_;
    System system_;
};

} // namespace

std::unique_ptr<DirectSolver> make_vyr(const Problem& problem) {
    if (problem.kind == Definiteness::POSITIVE && problem.folder.empty())
        return std::make_unique<NineFunctions>(problem);
    return std::make_unique<Engine>(problem);
}

} // namespace vyr::bench
