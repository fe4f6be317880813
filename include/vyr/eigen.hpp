// VYR for programs that use Eigen: its sparse matrices as vyr::Matrix without copying, and solver classes
// that stand where Eigen::SimplicialLLT and Eigen::SimplicialLDLT do.
//
//     Eigen::VyrLLT<Eigen::SparseMatrix<double>> solver(a);
//     x = solver.solve(b);
#ifndef VYR_EIGEN_HPP
#define VYR_EIGEN_HPP

#include "vyr/solver.hpp"

#include <Eigen/SparseCore>

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>

namespace vyr {

/// A view of a compressed matrix of doubles with 32-bit indices, by columns or by rows. triangle: what it
/// stores. The matrix must outlive the view. Throws for one that is not compressed or not square.
template <int Order>
Matrix view(const Eigen::SparseMatrix<double, Order, std::int32_t>& a, std::int32_t triangle = VYR_BOTH) {
    if (!a.isCompressed())
        throw Error(VYR_STATUS_STRUCTURE, "the matrix is not compressed: call makeCompressed()");
    if (a.rows() != a.cols()) throw Error(VYR_STATUS_STRUCTURE, "the matrix is not square");
    Matrix matrix;
    matrix.n = a.cols();
    matrix.ptr = a.outerIndexPtr();
    matrix.ind = a.innerIndexPtr();
    matrix.values = a.valuePtr();
    matrix.ptr_bytes = 4;
    matrix.triangle = triangle;
    matrix.layout = (Order & Eigen::RowMajorBit) != 0 ? VYR_ROWS : VYR_COLUMNS;
    return matrix;
}

/// What VyrLLT and VyrLDLT share: Eigen's solver concept over an analysis and a factor.
///
/// MatrixType   Eigen::SparseMatrix<double>, by columns or by rows
/// UpLo         the triangle that is read, Eigen::Lower or Eigen::Upper; the other one need not be stored
///
/// As with Eigen's own classes info() tells how the last step went and nothing throws but std::bad_alloc. A
/// const object may solve in several threads. It can be moved, not copied.
template <typename MatrixType_, int UpLo_, std::int32_t Kind, typename Derived>
class EigenSolver : public Eigen::SparseSolverBase<Derived> {
    using Base = Eigen::SparseSolverBase<Derived>;

public:
    using MatrixType = MatrixType_;
    using Scalar = typename MatrixType::Scalar;
    using RealScalar = Scalar;
    using StorageIndex = typename MatrixType::StorageIndex;
    static constexpr int UpLo = UpLo_;
    enum { ColsAtCompileTime = Eigen::Dynamic, MaxColsAtCompileTime = Eigen::Dynamic };
    static_assert(std::is_same_v<Scalar, double> && std::is_same_v<StorageIndex, std::int32_t>,
                  "VYR takes matrices of doubles with 32-bit indices");

    EigenSolver() { options_.kind = Kind; }

    /// Options of the next analysis: threads, ordering, refinement, memory. The kind is the class's.
    vyr_options& options() noexcept { return options_; }

    template <typename Input>
    Derived& analyzePattern(const Input& a) {
        attempt([&] { analyse(Triangle(a.template triangularView<UpLo>())); });
        return derived();
    }
    /// The values of the analysed pattern.
    template <typename Input>
    Derived& factorize(const Input& a) {
        eigen_assert(analysis_ && "call analyzePattern() first");
        attempt([&] { factorise(Triangle(a.template triangularView<UpLo>())); });
        return derived();
    }
    template <typename Input>
    Derived& compute(const Input& a) {
        attempt([&] {
            const Triangle triangle = a.template triangularView<UpLo>();
            analyse(triangle);
            factorise(triangle);
        });
        return derived();
    }

    Eigen::Index rows() const noexcept { return n_; }
    Eigen::Index cols() const noexcept { return n_; }
    /// Success; NumericalIssue: a pivot failed, or no solution is as accurate as asked for; InvalidInput.
    Eigen::ComputationInfo info() const noexcept { return info_; }
    /// What went wrong, one sentence; empty after a success.
    const std::string& lastErrorMessage() const noexcept { return message_; }
    double determinant() const {
        const auto [logarithm, sign] = factor().log_determinant();
        return sign * std::exp(logarithm);
    }
    /// For everything Eigen's concept does not have: parts of a solve, inertia, condition, figures.
    const Factor& factor() const noexcept {
        eigen_assert(factor_ && "call compute() first");
        return *factor_;
    }

    /// Called by solve(): x of as many columns as b.
    template <typename Rhs, typename Dest>
    void _solve_impl(const Eigen::MatrixBase<Rhs>& b, Eigen::MatrixBase<Dest>& x) const {
        Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic> columns = b;
        if (columns.cols() > 0) {
            const vyr_status status = vyr_solve(factor().get(), static_cast<std::int32_t>(columns.cols()),
                                                columns.data(), n_, columns.data(), n_, nullptr);
            // The best solution found is still one.
            if (status == VYR_STATUS_INACCURATE)
                info_ = Eigen::NumericalIssue;
            else if (status != VYR_STATUS_OK) {
                info_ = Eigen::InvalidInput;
                columns.setConstant(std::nan(""));
            }
        }
        x.derived() = columns;
    }
    using Base::_solve_impl;

private:
    static constexpr int ORDER = MatrixType::IsRowMajor ? Eigen::RowMajor : Eigen::ColMajor;
    using Triangle = Eigen::SparseMatrix<double, ORDER, std::int32_t>;

    Derived& derived() noexcept { return static_cast<Derived&>(*this); }

    static Matrix as_matrix(const Triangle& triangle) {
        return view(triangle, UpLo == Eigen::Lower ? VYR_LOWER : VYR_UPPER);
    }
    void analyse(const Triangle& triangle) {
        factor_.reset();
        analysis_.reset();
        n_ = triangle.rows();
        if (n_ == 0) return;
        analysis_.emplace(as_matrix(triangle), options_);
        factor_.emplace(*analysis_, options_);
    }
    void factorise(const Triangle& triangle) {
        if (factor_) factor_->factorise(as_matrix(triangle));
    }
    /// Runs a step and keeps how it went.
    template <typename Step>
    void attempt(Step step) {
        Base::m_isInitialized = true;
        info_ = Eigen::Success;
        message_.clear();
        try {
            step();
        } catch (const Error& error) {
            const vyr_status status = error.status();
            const bool numbers = status == VYR_STATUS_NOT_POSITIVE || status == VYR_STATUS_SINGULAR;
            info_ = numbers ? Eigen::NumericalIssue : Eigen::InvalidInput;
            message_ = error.what();
        }
    }

    Options options_;
    std::optional<Analysis> analysis_;
    std::optional<Factor> factor_;
    Eigen::Index n_ = 0;
    mutable Eigen::ComputationInfo info_ = Eigen::Success;
    std::string message_;
};

} // namespace vyr

namespace Eigen {

/// L L^T of a positive definite matrix: in the place of SimplicialLLT and CholmodSupernodalLLT, and as the
/// preconditioner of Eigen's iterative solvers.
template <typename MatrixType_, int UpLo_ = Lower>
class VyrLLT : public vyr::EigenSolver<MatrixType_, UpLo_, VYR_KIND_POSITIVE, VyrLLT<MatrixType_, UpLo_>> {
public:
    VyrLLT() = default;
    template <typename Input>
    explicit VyrLLT(const Input& a) {
        this->compute(a);
    }
};

/// L D L^T of any symmetric matrix, with pivoting and refinement: in the place of SimplicialLDLT.
template <typename MatrixType_, int UpLo_ = Lower>
class VyrLDLT
    : public vyr::EigenSolver<MatrixType_, UpLo_, VYR_KIND_INDEFINITE, VyrLDLT<MatrixType_, UpLo_>> {
public:
    VyrLDLT() = default;
    template <typename Input>
    explicit VyrLDLT(const Input& a) {
        this->compute(a);
    }
};

} // namespace Eigen

#endif
