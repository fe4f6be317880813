// Eigen's own Cholesky factorization, on the minimum degree ordering that it chooses.
#include "bench/direct_solver.h"

#include <Eigen/SparseCholesky>

namespace vyr::bench {

namespace {

class EigenLlt final : public DirectSolver {
public:
    explicit EigenLlt(const tool::SparseMatrix& a)
        : a_(a.n, a.n, a.nnz(), a.col_ptr.data(), a.row_ind.data(), a.values.data()) {}

    void analyse() override { solver_.analyzePattern(a_); }
    void factorise() override {
        solver_.factorize(a_);
        if (solver_.info() != Eigen::Success) throw SolverError("the matrix is not positive definite");
    }
    void solve(tool::DenseMatrix& x) override {
        Eigen::Map<Eigen::MatrixXd> columns(x.values.data(), x.n_rows, x.n_cols);
        columns = solver_.solve(columns).eval();
    }

    double flops() const override {
        double flops = 0;
        const Eigen::SparseMatrix<double>& l = solver_.matrixL().nestedExpression();
        for (Eigen::Index j = 0; j < l.cols(); ++j) {
            const double count = l.outerIndexPtr()[j + 1] - l.outerIndexPtr()[j];
            flops += count * count;
        }
        return flops;
    }
    double factor_entries() const override {
        return static_cast<double>(solver_.matrixL().nestedExpression().nonZeros());
    }
    std::string version() const override {
        return "Eigen " + std::to_string(EIGEN_WORLD_VERSION) + "." + std::to_string(EIGEN_MAJOR_VERSION) +
               "." + std::to_string(EIGEN_MINOR_VERSION);
    }

private:
    Eigen::Map<const Eigen::SparseMatrix<double>> a_;
    Eigen::SimplicialLLT<Eigen::SparseMatrix<double>, Eigen::Lower> solver_;
};

} // namespace

std::unique_ptr<DirectSolver> make_eigen(const Problem& problem) {
    return std::make_unique<EigenLlt>(problem.matrix);
}

} // namespace vyr::bench
