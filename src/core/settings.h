// Everything a host may choose, in force for one call.
#pragma once

#include "platform/instruction_set.h"

#include <cstdint>

namespace vyr {

/// Values of Settings::type.
enum MatrixType {
    TYPE_BOTH = 2,    ///< both triangles may be stored
    TYPE_SIMPLE = 10, ///< not served
    TYPE_SPD = 11,    ///< positive definite, lower triangle: L L^T
    TYPE_LDLT = 12,   ///< indefinite, lower triangle: L D L^T
    TYPE_CSYM = 13,   ///< as TYPE_LDLT, exchanging rows with the BLAS
    TYPE_EXPAND = 14  ///< one triangle, expanded for the residuals
};

/// True for the values of MatrixType.
constexpr bool is_matrix_type(int type) noexcept {
    return type == TYPE_BOTH || (type >= TYPE_SIMPLE && type <= TYPE_EXPAND);
}

/// Values of Settings::core_mode; any other value chooses automatically.
enum CoreMode { CORE_IN = 0, CORE_OUT = 1, CORE_LIMITED = 2, CORE_MAPPED = 3, CORE_GPU = 4, CORE_GBLAS = 5 };

/// Values of Settings::ordering.
enum Ordering {
    ORDERING_AUTOMATIC = 0, ///< minimum degree, or nested dissection where the factorization is worth it
    ORDERING_METIS = 1,     ///< nested dissection
    ORDERING_AMD = 2,       ///< approximate minimum degree
    ORDERING_NATURAL = 3,   ///< as given
    ORDERING_USER = 4,      ///< Settings::permutation
    ORDERING_DISSECTION = 5 ///< nested dissection on several threads
};

/// Values of Settings::matching.
enum Matching {
    MATCHING_AUTOMATIC = 0, ///< pairs both of whose diagonal entries are weak
    MATCHING_ON = 1,        ///< every pair of the largest product
    MATCHING_OFF = 2        ///< no pairs
};

/// Values of Settings::matrix_scaling.
enum MatrixScaling {
    SCALING_AUTOMATIC = 0, ///< by the matching; without one by the largest entries
    SCALING_NONE = 1,
    SCALING_NORM = 2,    ///< the largest entry of every row is 1
    SCALING_MATCHING = 3 ///< by the duals of a matching, whether it serves the ordering or not
};

/// Values of Settings::pivot_mode.
enum Pivoting {
    PIVOTING_DELAYED = 0, ///< pass columns without a pivot on to the parent node
    PIVOTING_STATIC = 1   ///< replace their pivots
};

/// True for the types that store only the lower triangle.
constexpr bool is_lower_triangle_type(int type) noexcept {
    return type >= TYPE_SPD && type <= TYPE_CSYM;
}

/// A double that stands for an integer: truncated toward zero, saturated at the int range; NaN reads as 0.
constexpr int to_int(double value) noexcept {
    if (value != value) return 0;
    if (value >= 2147483647.0) return 2147483647;
    if (value <= -2147483648.0) return -2147483647 - 1;
    return static_cast<int>(value);
}

/// Rows of a LAPACK block, and pivots of a block of the L D L^T kernel.
inline constexpr int LAPACK_BLOCK_SIZE = 16;

struct Settings {
    int type = TYPE_SPD;           ///< a TYPE_ value
    int core_mode = CORE_IN;       ///< a CORE_ value
    int ordering = ORDERING_METIS; ///< an ORDERING_ value
    const std::int32_t* permutation =
        nullptr; ///< n, for ORDERING_USER: perm[new] = old, checked by the caller
    const std::int32_t* partner =
        nullptr; ///< n: the equation to be eliminated together with each; itself for none; null: none at all
    const std::uint8_t* weak =
        nullptr; ///< n: 1 for equations that have no pivot until a neighbour is eliminated; null: none
    int matching = MATCHING_AUTOMATIC;      ///< a MATCHING_ value, for indefinite matrices
    int matrix_scaling = SCALING_AUTOMATIC; ///< a SCALING_ value, for indefinite matrices
    int scaling = 0;                        ///< 0 none, 1 right-hand side, 2 solution, 3 both
    int refinement_limit = 1;               ///< largest number of accepted solutions; 1: no refinement
    bool blocked = false;                   ///< compress the graph, pass updates on ancestor by ancestor
    bool compress = false;              ///< order unknowns of one pattern together, also without `blocked`
    bool dump_factor = false;           ///< write the factor to a file when an update cannot be passed on
    bool compress_when_it_pays = false; ///< the same, where that takes a tenth of the graph away
    bool delay_pivots = false;          ///< L D L^T: by fronts, with the rules for pivots that follow
    int pivot_mode = PIVOTING_DELAYED;  ///< a PIVOTING_ value
    double pivot_share = 0.01;          ///< least share of its column that a pivot must have
    double zero_pivot = 2.2e-15;        ///< share of the largest entry up to which a column is zero
    bool zero_pivots = false;           ///< go on when columns are zero in the end
    bool check_values = false;          ///< look at the values a factorization starts from
    double pivot_min = 0;               ///< smallest acceptable pivot of L L^T
    double growth_limit = 0;            ///< largest allowed pivot ratio; checked when above 1
    double reserve_bytes = 0;           ///< memory to leave to others out of core
    std::int32_t n_threads = 0;         ///< 0: as many as OpenMP reports
    bool merge_nodes = false;           ///< also nodes that are no chains, where that saves memory
    bool tree_schedule = false;         ///< L L^T in core: cut into tasks by the tree alone, not by n_threads
    double block_limit_bytes = 0; ///< most that factor blocks and read buffer may hold; 0: what there is
    const char* directory = "";   ///< for the factor files; empty: the current one
    InstructionSet instructions = instruction_set(); ///< of our own loops

    // Shown by the statistics report and read by nothing else.
    double architecture = 0;
    double strategy_s = 2;
    double strategy_f = 1;
    double pivoting = 4;
    double pivot_threshold = 0.1;
    double relax = 0.01;
    double block_size = LAPACK_BLOCK_SIZE;
};

} // namespace vyr
