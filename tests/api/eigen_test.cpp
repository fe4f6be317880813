// Eigen's solver concept, held against Eigen's own dense solver.
#include <gtest/gtest.h>
#include <vyr/eigen.hpp>

#include <Eigen/Dense>
#include <Eigen/IterativeLinearSolvers>

#include <cmath>

namespace {

using Dense = Eigen::MatrixXd;

Dense random_symmetric(bool definite) {
    Dense a = Dense::Random(20, 20);
    a = (a.array().abs() < 0.15).select(a, 0.0).eval();
    a = (a + a.transpose()).eval();
    a.diagonal().setConstant(definite ? 4.0 : 0.0);
    for (int i = 0; !definite && i + 1 < 20; i += 2) a(i, i + 1) = a(i + 1, i) = 3.0;
    return a;
}

/// Everything the concept asks for, with new values in between.
template <template <typename, int> class Solver, int Order, int UpLo>
void expect_solver(bool definite) {
    using Sparse = Eigen::SparseMatrix<double, Order>;
    const Dense dense = random_symmetric(definite);
    const Sparse half = Sparse(dense.sparseView()).template triangularView<UpLo>();
    Solver<Sparse, UpLo> solver;
    solver.options().threads = 1;
    solver.analyzePattern(half);
    for (const double scale : {1.0, 2.5}) {
        const Dense a = scale * dense;
        ASSERT_EQ(solver.factorize(Sparse(scale * half)).info(), Eigen::Success) << solver.lastErrorMessage();
        const Dense b = Dense::Random(20, 3);
        EXPECT_LT((a * solver.solve(b) - b).norm(), 1e-11);
        EXPECT_LT((a * Dense(solver.solve(Eigen::SparseMatrix<double>(b.sparseView()))) - b).norm(), 1e-11);
        EXPECT_NEAR(solver.determinant() / a.determinant(), 1, 1e-9);
    }
    EXPECT_EQ(solver.rows(), 20);
    Dense singular = dense;
    singular.row(3).setZero();
    singular.col(3).setZero();
    EXPECT_EQ(solver.compute(Sparse(singular.sparseView())).info(), Eigen::NumericalIssue);
    EXPECT_FALSE(solver.lastErrorMessage().empty());
}

} // namespace

TEST(EigenClasses, SolveEitherTriangleOfEitherLayout) {
    expect_solver<Eigen::VyrLLT, Eigen::ColMajor, Eigen::Lower>(true);
    expect_solver<Eigen::VyrLLT, Eigen::RowMajor, Eigen::Upper>(true);
    expect_solver<Eigen::VyrLDLT, Eigen::ColMajor, Eigen::Upper>(false);
    expect_solver<Eigen::VyrLDLT, Eigen::RowMajor, Eigen::Lower>(false);
}

TEST(EigenClasses, PreconditionAnIterativeSolver) {
    using Sparse = Eigen::SparseMatrix<double>;
    const Sparse a = random_symmetric(true).sparseView();
    Eigen::ConjugateGradient<Sparse, Eigen::Lower | Eigen::Upper, Eigen::VyrLLT<Sparse>> iterative(a);
    const Eigen::VectorXd b = Eigen::VectorXd::Random(20);
    const Eigen::VectorXd x = iterative.solve(b);
    EXPECT_LE(iterative.iterations(), 2);
    EXPECT_LT((a * x - b).norm(), 1e-12);
}
