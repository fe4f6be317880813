// The matrices of the comparison by short names such as p3d_60.
#pragma once

#include "bench/direct_solver.h"

#include <string>

namespace vyr::bench {

struct BenchMatrix {
    std::string generator; ///< of tools/vyr/generators.h
    std::int32_t side = 0;
    Definiteness kind = Definiteness::POSITIVE;
};

/// p2d_N, p3d_N, ela_N, plate_N, tri2_N, tri3_N, or, indefinite, shift_N, middle_N, helm2_N, helm3_N,
/// stokes2_N, stokes3_N, mixed_N, kkt_N, ip_N, saddle_N, zero_N or zerow_N. Throws std::invalid_argument for
/// anything else.
BenchMatrix parse_matrix(const std::string& name);

tool::SparseMatrix make_matrix(const BenchMatrix& matrix);

} // namespace vyr::bench
