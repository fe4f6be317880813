// The part of the command line of `vyr solve` that is about matrices that are not positive definite.
#pragma once

#include "tools/vyr/solve.h"

#include <CLI/CLI.hpp>

namespace vyr::tool {

/// Adds the kinds of matrices and the choices of L D L^T; `chosen` must outlive the parsing.
void add_indefinite(CLI::App& command, SolveOptions& chosen);

} // namespace vyr::tool
