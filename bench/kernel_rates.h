// How fast fronts of one shape are updated: the kernel of ours beside the two of BLAS that do the same.
#pragma once

namespace vyr::bench {

/// One row a shape, pivots and update rows, on standard output: GFLOP/s on the calling thread of forming and
/// subtracting the update's triangle, packing included, by the kernel of every instruction set that this
/// processor has; of dsyrk, which forms the same triangle; and of dgemm for the whole square. Best of
/// `rounds`.
void print_kernel_rates(int rounds);

} // namespace vyr::bench
