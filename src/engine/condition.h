// How sensitive a system is: condition number, and a scaling that takes the choice of units out of it.
//
// Matrices here are symmetric, finite, and given by their lower triangle.
#pragma once

#include "core/analysis.h"
#include "core/context.h"

namespace vyr {

/// Solves with a matrix whose condition is wanted, x := A^-1 x in the numbering of the matrix.
struct InverseOperator {
    void* self; ///< handed to `apply`
    Status (*apply)(void* self, double* x) noexcept;
};

/// Estimates the 1-norm condition number of S A S: a lower bound but for rounding, seldom off by more than a
/// factor of three.
///
/// inverse     of `a`
/// scale       n: the diagonal of S; null: S = I
/// condition   out; infinity when an intermediate result is not finite
///
/// Returns OK, MEMORY without room for 2 n doubles, or what a solve answered. Cost: at most 12 solves, and
/// one look at every entry.
Status mf_condition(Context& context, const Matrix& a, const InverseOperator& inverse, const double* scale,
                    double& condition) noexcept;

/// The diagonal of an S such that the largest magnitude of every row of S A S is near 1, between a half and
/// two but for a few percent.
///
/// scale   n, out: powers of two; 1 for a row without a nonzero
///
/// Returns OK, or MEMORY without room for n doubles. Cost: a few looks at every entry, more of them the
/// further apart the entries are.
Status mf_equilibration(Context& context, const Matrix& a, double* scale) noexcept;

} // namespace vyr
