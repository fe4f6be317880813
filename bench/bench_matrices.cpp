#include "bench/bench_matrices.h"

#include "tools/vyr/generators.h"

#include <charconv>
#include <stdexcept>

namespace vyr::bench {

BenchMatrix parse_matrix(const std::string& name) {
    struct Family {
        const char* prefix;
        const char* generator;
        Definiteness kind;
    };
    constexpr Family FAMILIES[] = {
        {"p2d_", "poisson2d", Definiteness::POSITIVE},
        {"p3d_", "poisson3d", Definiteness::POSITIVE},
        {"ela_", "elasticity3d", Definiteness::POSITIVE},
        {"plate_", "plate", Definiteness::POSITIVE},
        {"tri2_", "triangulation2d", Definiteness::POSITIVE},
        {"tri3_", "triangulation3d", Definiteness::POSITIVE},
        {"shift_", "shifted3d", Definiteness::INDEFINITE},
        {"kkt_", "kkt", Definiteness::INDEFINITE},
        {"middle_", "shifted3d_middle", Definiteness::INDEFINITE},
        {"helm2_", "helmholtz2d", Definiteness::INDEFINITE},
        {"helm3_", "helmholtz3d", Definiteness::INDEFINITE},
        {"stokes2_", "stokes2d", Definiteness::INDEFINITE},
        {"stokes3_", "stokes3d", Definiteness::INDEFINITE},
        {"mixed_", "mixed_poisson3d", Definiteness::INDEFINITE},
        {"ip_", "interior_point", Definiteness::INDEFINITE},
        {"saddle_", "scaled_saddle", Definiteness::INDEFINITE},
        {"zero_", "zero_grid_oblong", Definiteness::INDEFINITE},
        {"zerow_", "zero_grid_weighted", Definiteness::INDEFINITE},
    };
    for (const Family& family : FAMILIES) {
        const std::string prefix = family.prefix;
        if (!name.starts_with(prefix)) continue;
        BenchMatrix matrix{family.generator, 0, family.kind};
        const char* const last = name.data() + name.size();
        const auto [end, error] = std::from_chars(name.data() + prefix.size(), last, matrix.side);
        if (error == std::errc() && end == last && matrix.side > 0) return matrix;
    }
    throw std::invalid_argument(
        "'" + name + "' is no matrix of the comparison: p2d_N, p3d_N, ela_N, plate_N, tri2_N, tri3_N, " +
        "shift_N, middle_N, helm2_N, helm3_N, stokes2_N, stokes3_N, mixed_N, kkt_N, ip_N, "
        "saddle_N, zero_N or zerow_N with a number N");
}

tool::SparseMatrix make_matrix(const BenchMatrix& matrix) {
    return tool::generate(matrix.generator, matrix.side);
}

} // namespace vyr::bench
