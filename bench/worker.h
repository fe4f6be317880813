// One measurement in a process of its own.
#pragma once

#include "bench/json.h"

#include <string>

namespace vyr::bench {

struct WorkerTask {
    std::string solver; ///< of solvers(), or "dgemm"
    std::string matrix;
    int threads = 1;
    int repeats = 3;               ///< of the numeric step after the first one
    std::string folder;            ///< of the factor's files; empty: the factor stays in memory
    double memory_limit_bytes = 0; ///< of our solver out of core; 0: none
};

/// Members of the result: "status" ("ok", or what went wrong), and for "ok" times in seconds, sizes in bytes.
/// "peak_bytes" is taken before the block of sixteen right-hand sides exists, "peak_bytes_solve16" at the
/// end. OMP_NUM_THREADS must agree with the task. Throws std::invalid_argument for a task that makes no
/// sense.
Record run_worker(const WorkerTask& task);

/// GFLOP/s of dgemm: the median of five products of order 2000 (after one to warm up).
double dgemm_rate();

/// Not-a-number for no samples; samples that are not numbers are left out.
double median(std::vector<double> samples);

/// Seconds on a monotonic clock.
double clock_seconds();

} // namespace vyr::bench
