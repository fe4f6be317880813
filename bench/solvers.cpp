#include "bench/direct_solver.h"

namespace vyr::bench {

std::unique_ptr<DirectSolver> make_vyr(const Problem& problem);
std::unique_ptr<DirectSolver> make_cholmod(const Problem& problem);
std::unique_ptr<DirectSolver> make_mumps(const Problem& problem);

const std::vector<SolverEntry>& solvers() {
    static const std::vector<SolverEntry> entries = {
        {"vyr", make_vyr, true, true},
#ifdef BENCH_CHOLMOD
        {"cholmod", make_cholmod, false,
         false}, // its supernodal factorization is positive definite, in memory
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
