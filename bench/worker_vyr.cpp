// VYR as hosts use it: positive definite in core through the nine functions, everything else, and all with
// the automatic ordering, through vyr/solver.h. Statistics that the nine functions do not hand out come from
// their process-wide state.
#include "bench/direct_solver.h"
#include "bench/doors.h"

#include "interface/handle.h"
#include "interface/process_state.h"
#include "report/report.h"
#include "vyr.h"
#include "vyr/solver.h"

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

class Library final : public Vyr {
public:
    Library(const Problem& problem, int ordering) : problem_(problem) {
        const tool::SparseMatrix& a = problem.matrix;
        vyr_matrix_lower(&matrix_, sizeof matrix_, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data());
        vyr_options_default(&options_, sizeof options_);
        options_.ordering = ordering;
        if (problem.kind == Definiteness::INDEFINITE) options_.kind = VYR_KIND_INDEFINITE;
        if (!problem.folder.empty()) options_.directory = problem.folder.c_str();
        options_.memory_limit = problem.memory_limit_bytes;
    }
    ~Library() override {
        vyr_factor_free(factor_);
        vyr_analysis_free(analysis_);
    }

    void analyse() override {
        require_ok("analysis", vyr_analyse(&matrix_, &options_, &analysis_));
        require_ok("factor", vyr_factor_create(analysis_, nullptr, &factor_));
    }
    void factorise() override { require_ok("factorization", vyr_factorise(factor_, &matrix_)); }
    void solve(tool::DenseMatrix& x) override {
        require_ok("solve", vyr_solve(factor_, x.n_cols, x.values.data(), x.n_rows, x.values.data(), x.n_rows,
                                      nullptr));
    }

    double flops() const override { return analysis_info().operations; }
    double factor_entries() const override { return analysis_info().factor_bytes / sizeof(double); }
    double file_seconds() const override {
        vyr_factor_info info{};
        info.size = sizeof info;
        require_ok("figures", vyr_factor_get_info(factor_, &info));
        return problem_.folder.empty() ? DirectSolver::file_seconds() : info.seconds_files;
    }

private:
    vyr_analysis_info analysis_info() const {
        vyr_analysis_info info{};
        info.size = sizeof info;
        require_ok("figures", vyr_analysis_get_info(analysis_, &info));
        return info;
    }

    const Problem& problem_;
    vyr_matrix matrix_;
    vyr_options options_;
    vyr_analysis* analysis_ = nullptr;
    vyr_factor* factor_ = nullptr;
};

} // namespace

std::unique_ptr<DirectSolver> make_vyr(const Problem& problem) {
    if (problem.kind == Definiteness::POSITIVE && problem.folder.empty()) return make_nine_functions(problem);
    return make_library(problem, VYR_ORDERING_METIS);
}

std::unique_ptr<DirectSolver> make_vyr_automatic(const Problem& problem) {
    return make_library(problem, VYR_ORDERING_AUTOMATIC);
}

std::unique_ptr<DirectSolver> make_nine_functions(const Problem& problem) {
    return std::make_unique<NineFunctions>(problem);
}

std::unique_ptr<DirectSolver> make_library(const Problem& problem, int ordering) {
    return std::make_unique<Library>(problem, ordering);
}

} // namespace vyr::bench
