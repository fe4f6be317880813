// The command line of `vyr analyse`: what a system would cost.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vyr::tool {

struct AnalyseOptions {
    std::string matrix;
    bool indefinite = false;
    int threads = 0; ///< 0: as many as OpenMP reports
};

/// Adds the command to the program; `options` must outlive the parsing.
CLI::App* add_analyse(CLI::App& app, AnalyseOptions& options);

/// Prints the costs by ordering. True when every analysis succeeded.
bool run_analyse(const AnalyseOptions& options);

} // namespace vyr::tool
