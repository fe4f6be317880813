#include "bench/direct_solver.h"

namespace vyr::bench {

std::unique_ptr<DirectSolver> make_vyr(const Problem& problem);
std::unique_ptr<DirectSolver> make_vyr_automatic(const Problem& problem);
std::unique_ptr<DirectSolver> make_cholmod(const Problem& problem);
std::unique_ptr<DirectSolver> make_cholmod_automatic(const Problem& problem);
std::unique_ptr<DirectSolver> make_eigen(const Problem& problem);
std::unique_ptr<DirectSolver> make_mumps(const Problem& problem);

const std::vector<SolverEntry>& solvers() {
    static const std::vector<SolverEntry> entries = {
        {"vyr", make_vyr, true, true},           {"vyr-auto", make_vyr_automatic, true, false},
#ifdef BENCH_CHOLMOD // for positive definite matrices, in memory
        {"cholmod", make_cholmod, false, false}, {"cholmod-auto", make_cholmod_automatic, false, false},
#endif
#ifdef BENCH_EIGEN
        {"eigen", make_eigen, false, false},
#endif
#ifdef BENCH_MUMPS
        {"mumps", make_mumps, true, true},
#endif
    };
    return entries;
}

const SolverEntry* find_solver(const std::string& name) {
    for (const SolverEntry& entry : solvers())
        if (name == entry.name) return &entry;
    return nullptr;
}

} // namespace vyr::bench
