// What the phases find out, for the host and the statistics report.
#pragma once

namespace vyr {

/// Counts, figures and times of one matrix. All are doubles, as the report prints them; times in seconds and
/// memory in 10^6 bytes unless a member says otherwise. Members that say "stays" are printed by the report
/// and computed by nothing.
struct Statistics {
    double status = 0; ///< code of the last operation

    // The matrix.
    double rows = 0, cols = 0, nnz = 0;
    double symmetry_origin = 0, symmetry = 0;
    double zero_diagonal = 0; ///< stays 0
    double no_diagonal = 0;   ///< columns without a stored diagonal entry
    double value_max = 0;     ///< largest absolute value
    double value_min = 0;     ///< smallest absolute value that is not zero

    // The analysis.
    double n_nodes = 0;         ///< supernodes
    double max_width = 0;       ///< widest supernode, a running maximum
    double max_level = 0;       ///< stays 0
    double dense_blocks = 0;    ///< stays 0
    double solid = 0;           ///< stays 0
    double nzlu_sym = 0;        ///< doubles in the factor
    double mem_sym = 0;         ///< held after the analysis
    double peak_sym = 0;        ///< peak up to the end of the analysis
    double t_sym = 0;           ///< whole symbolic step
    double t_symfac = 0;        ///< the same without the ordering
    double memory_estimate = 0; ///< bytes of work a factorization needs, summed over the analyses

    // The factorization.
    double n_factorizations = 0;
    double nzlu = 0;
    double mem = 0;  ///< held after the numeric step
    double peak = 0; ///< peak up to the end of the numeric step
    double flops = 0;
    double failed_pivots = 0; ///< stays 0
    double failed_column = 0; ///< 0-based, pivot order
    double diagonal_min = 0, diagonal_max = 0;
    double growth = 0;        ///< stays 0
    double n_two_by_two = 0;  ///< 2 x 2 pivots, a running count
    double numeric_start = 0; ///< clock reading, milliseconds
    double t_num = 0;
    double t_assembly = 0;   ///< adding updates, summed over threads
    double t_file_write = 0; ///< milliseconds
    double t_mapped_io = 0;  ///< milliseconds

    // The solve.
    double condition = 0;
    double error = 0; ///< stays 0
    double t_solve = 0;
    double t_condition = 0; ///< stays 0
};

} // namespace vyr
