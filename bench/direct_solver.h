// What every solver of the comparison offers to the code that measures it.
#pragma once

#include "tools/vyr/sparse_matrix.h"

#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vyr::bench {

/// A solver that refused or failed; the text goes into the table.
struct SolverError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Definiteness { POSITIVE, INDEFINITE };

struct Problem {
    const tool::SparseMatrix& matrix;
    Definiteness kind = Definiteness::POSITIVE;
    std::string folder = {}; ///< for the files of a factor out of core; empty: the factor stays in memory
    double memory_limit_bytes = 0; ///< of our process out of core; 0: what the machine has
};

/// One matrix in one solver. The constructor does what a host does once per process and brings the matrix
/// into the solver's input format; analyse() does all that belongs to one matrix. The problem must outlive
/// the object. Every function throws SolverError.
class DirectSolver {
public:
    DirectSolver() = default;
    DirectSolver(const DirectSolver&) = delete;
    DirectSolver& operator=(const DirectSolver&) = delete;
    virtual ~DirectSolver() = default;

    virtual void analyse() = 0;
    /// May be repeated.
    virtual void factorise() = 0;
    /// x holds the right-hand sides on entry. The solutions are in x after collect(x), which is not timed.
    virtual void solve(tool::DenseMatrix& x) = 0;
    virtual void collect(tool::DenseMatrix&) {}

    /// Of one factorization with this solver's own ordering, as it counts.
    virtual double flops() const = 0;
    /// Entries of the factor as stored.
    virtual double factor_entries() const = 0;
    /// Spent on files in the last factorization; not-a-number where the solver does not tell.
    virtual double file_seconds() const { return std::nan(""); }
    virtual std::string version() const = 0;
};

struct SolverEntry {
    const char* name;
    std::unique_ptr<DirectSolver> (*make)(const Problem&);
    bool serves_indefinite;
    bool serves_files; ///< keeps a factor out of core
};

/// The solvers of this build, ours first.
const std::vector<SolverEntry>& solvers();

/// Null when this build has no such solver.
const SolverEntry* find_solver(const std::string& name);

} // namespace vyr::bench
