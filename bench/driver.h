// The comparison: every solver on every matrix, in processes of their own, interleaved.
#pragma once

#include "bench/json.h"

#include <string>
#include <vector>

namespace vyr::bench {

struct Plan {
    std::vector<std::string> matrices;
    std::vector<int> threads = {1};
    std::vector<std::string> peers; ///< solvers() other than ours
    int rounds = 3;
    int repeats = 3;              ///< numeric steps in a worker after the first
    std::string kernels;          ///< OPENBLAS_CORETYPE of every worker; empty: chosen
    std::string wait = "default"; ///< of every worker: "default", "active", "passive", or a spin count
    std::string tuned =
        "OMP_WAIT_POLICY=passive"; ///< further environment of the second row of ours; empty: none
    bool out_of_core = false;      ///< measure the factor in files as well
    bool busy_core = false;        ///< keep one processor busy meanwhile
    bool allow_busy = false;       ///< report what was measured on a busy machine, marked "noisy"
    int retries = 3;               ///< of a measurement disturbed by others
    double patience = 20;          ///< longest wait for a quiet machine before a new try, seconds
    double timeout = 900;          ///< of a worker, seconds
};

/// What was found out. Members of a result: those of run_worker(), medians over the rounds, and "rounds" (how
/// many were clean), "dgemm_gflops", "other_cores" (largest of the rounds that count). "status" may also be
/// "busy" or "noisy".
struct Findings {
    Record setting; ///< machine, versions, options
    std::vector<Record> results;
};

/// Name under which our solver appears with Plan::tuned.
inline constexpr const char* TUNED = "vyr-tuned";
/// Ending of a solver's name in the rows with the factor in files.
inline constexpr const char* IN_FILES = "-files";

/// Tells about every measurement on standard error and calls save() after each round. Throws
/// std::runtime_error when measuring is not possible at all.
Findings run_plan(const Plan& plan, void (*save)(const Findings&, void*), void* context);

} // namespace vyr::bench
