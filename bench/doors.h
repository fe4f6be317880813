// The library interface beside the nine functions, in one process and in turn.
#pragma once

#include "bench/direct_solver.h"
#include "vyr/solver.h"

#include <string>
#include <vector>

namespace vyr::bench {

std::unique_ptr<DirectSolver> make_nine_functions(const Problem& problem);
std::unique_ptr<DirectSolver> make_library(const Problem& problem, int ordering);

/// One row a matrix on standard output: factorise and solve of the library interface over those of the nine
/// functions, the orderings being METIS's; then a first solution with the automatic ordering over that of the
/// nine functions and over the better of METIS and AMD. Medians of `rounds` ratios, each of two calls that
/// follow one another.
void compare_doors(const std::vector<std::string>& matrices, int rounds);

} // namespace vyr::bench
