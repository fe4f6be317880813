// The command line of `vyr pivots`.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vyr::tool {

struct PivotsOptions {
    std::string matrix;
    double smallest = 0.0;
    double growth = 0.0;
    int count = 5;
    int threads = 0; ///< 0: as many as OpenMP reports
};

/// Adds the command to the program; `options` must outlive the parsing.
CLI::App* add_pivots(CLI::App& app, PivotsOptions& options);

/// Prints the answer. True when the factorization succeeded.
bool run_pivots(const PivotsOptions& options);

} // namespace vyr::tool
