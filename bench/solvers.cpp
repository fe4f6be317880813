#include "bench/direct_solver.h"

namespace vyr::bench {

std::unique_ptr<DirectSolver> make_vyr(const tool::SparseMatrix& a, Definiteness kind);
std::unique_ptr<DirectSolver> make_cholmod(const tool::SparseMatrix& a, Definiteness kind);
std::unique_ptr<DirectSolver> make_mumps(const tool::SparseMatrix& a, Definiteness kind);

const std::vector<SolverEntry>& solvers() {
    static const std::vector<SolverEntry> entries = {
        {"vyr", make_vyr, true},
#ifdef BENCH_CHOLMOD
        {"cholmod", make_cholmod, false}, // its supernodal factorization is for positive definite matrices
#endif
#ifdef BENCH_MUMPS
        {"mumps", make_mumps, true},
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
