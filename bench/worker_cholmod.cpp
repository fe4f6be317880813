// CHOLMOD on the caller's arrays without a copy: supernodal L L^T on a METIS ordering, or what it chooses.
#include "bench/direct_solver.h"

#include <cholmod.h>

namespace vyr::bench {

namespace {

class Cholmod final : public DirectSolver {
public:
    Cholmod(const tool::SparseMatrix& a, bool automatic) : automatic_(automatic) {
        cholmod_start(&common_);
        common_.print = 0;
        common_.final_ll = 1;
        if (!automatic) {
            common_.supernodal = CHOLMOD_SUPERNODAL;
            common_.nmethods = 1;
            common_.method[0].ordering = CHOLMOD_METIS;
        }
        matrix_.nrow = matrix_.ncol = static_cast<std::size_t>(a.n);
        matrix_.nzmax = a.row_ind.size();
        // The library writes none of the arrays of a sorted, packed matrix.
        matrix_.p = const_cast<std::int32_t*>(a.col_ptr.data());
        matrix_.i = const_cast<std::int32_t*>(a.row_ind.data());
        matrix_.x = const_cast<double*>(a.values.data());
        matrix_.stype = -1; // lower triangle
        matrix_.itype = CHOLMOD_INT;
        matrix_.xtype = CHOLMOD_REAL;
        matrix_.dtype = CHOLMOD_DOUBLE;
        matrix_.sorted = matrix_.packed = 1;
    }

    ~Cholmod() override {
        cholmod_free_dense(&solution_, &common_);
        cholmod_free_dense(&scratch_y_, &common_);
        cholmod_free_dense(&scratch_e_, &common_);
        cholmod_free_factor(&factor_, &common_);
        cholmod_finish(&common_);
    }

    void analyse() override {
        factor_ = cholmod_analyze(&matrix_, &common_);
        flops_ = common_.fl;
        check("analysis");
    }

    void factorise() override {
        cholmod_factorize(&matrix_, factor_, &common_);
        check("factorization");
        if (factor_->minor < matrix_.nrow) throw SolverError("the matrix is not positive definite");
        if (factor_->is_super == 0 && !automatic_) throw SolverError("the factorization was not supernodal");
    }

    void solve(tool::DenseMatrix& x) override {
        cholmod_dense b = {};
        b.nrow = b.d = static_cast<std::size_t>(x.n_rows);
        b.ncol = static_cast<std::size_t>(x.n_cols);
        b.nzmax = x.values.size();
        b.x = x.values.data();
        b.xtype = CHOLMOD_REAL;
        b.dtype = CHOLMOD_DOUBLE;
        // Solution and scratch live on between calls, so that repetitions do not pay for memory again.
        cholmod_solve2(CHOLMOD_A, factor_, &b, nullptr, &solution_, nullptr, &scratch_y_, &scratch_e_,
                       &common_);
        check("solve");
    }

    void collect(tool::DenseMatrix& x) override {
        const double* const values = static_cast<const double*>(solution_->x);
        x.values.assign(values, values + x.values.size());
    }

    double flops() const override { return flops_; }
    double factor_entries() const override {
        return static_cast<double>(factor_->is_super != 0 ? factor_->xsize : factor_->nzmax);
    }
    std::string version() const override {
        return "CHOLMOD " + std::to_string(CHOLMOD_MAIN_VERSION) + "." + std::to_string(CHOLMOD_SUB_VERSION) +
               "." + std::to_string(CHOLMOD_SUBSUB_VERSION);
    }

private:
    void check(const char* phase) const {
        if (common_.status != CHOLMOD_OK)
            throw SolverError(std::string(phase) + " ended with status " + std::to_string(common_.status));
    }

    bool automatic_;
    cholmod_common common_ = {};
    cholmod_sparse matrix_ = {};
    cholmod_factor* factor_ = nullptr;
    cholmod_dense* solution_ = nullptr;
    cholmod_dense* scratch_y_ = nullptr;
    cholmod_dense* scratch_e_ = nullptr;
    double flops_ = 0;
};

} // namespace

std::unique_ptr<DirectSolver> make_cholmod(const Problem& problem) {
    return std::make_unique<Cholmod>(problem.matrix, false);
}

std::unique_ptr<DirectSolver> make_cholmod_automatic(const Problem& problem) {
    return std::make_unique<Cholmod>(problem.matrix, true);
}

} // namespace vyr::bench
