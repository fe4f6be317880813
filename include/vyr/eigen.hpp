// Eigen's sparse matrices as vyr::Matrix, without copying.
#ifndef VYR_EIGEN_HPP
#define VYR_EIGEN_HPP

#include "vyr/solver.hpp"

#include <Eigen/SparseCore>

#include <cstdint>
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

} // namespace vyr

#endif
