// MUMPS. Debian's sequential build has no METIS of its own: the permutation is computed here, and its time
// belongs to the analysis. One with METIS (BENCH_MUMPS_METIS) is left to its defaults, matching included.
#include "bench/direct_solver.h"
#ifndef BENCH_MUMPS_METIS
#include "symbolic/ordering.h"
#endif

#include <dmumps_c.h>

namespace vyr::bench {

namespace {

constexpr MUMPS_INT JOB_INIT = -1, JOB_END = -2, JOB_ANALYSE = 1, JOB_FACTORISE = 2, JOB_SOLVE = 3;
constexpr MUMPS_INT USE_COMM_WORLD = -987654;
constexpr MUMPS_INT LARGEST_RELAXATION =
    400; ///< per cent of the estimated work space, beyond which we give up

#ifdef BENCH_MUMPS_METIS
constexpr MUMPS_INT ORDERING = 5; // METIS
bool order(const tool::SparseMatrix&, std::vector<MUMPS_INT>&) {
    return true;
}
#else
constexpr MUMPS_INT ORDERING = 1; // that of order()

/// Both directions of every edge, no loops.
void full_graph(const tool::SparseMatrix& a, std::vector<std::int32_t>& start,
                std::vector<std::int32_t>& neighbours) {
    const std::size_t n = static_cast<std::size_t>(a.n);
    start.assign(n + 1, 0);
    const auto for_each_edge = [&](auto visit) {
        for (std::size_t j = 0; j < n; ++j)
            for (std::size_t k = static_cast<std::size_t>(a.col_ptr[j]);
                 k < static_cast<std::size_t>(a.col_ptr[j + 1]); ++k)
                if (const std::size_t i = static_cast<std::size_t>(a.row_ind[k]); i != j) visit(i, j);
    };
    for_each_edge([&](std::size_t i, std::size_t j) {
        ++start[i + 1];
        ++start[j + 1];
    });
    for (std::size_t j = 0; j < n; ++j) start[j + 1] += start[j];
    neighbours.resize(static_cast<std::size_t>(start[n]));
    std::vector<std::int32_t> next(start.begin(), start.end() - 1);
    for_each_edge([&](std::size_t i, std::size_t j) {
        neighbours[static_cast<std::size_t>(next[i]++)] = static_cast<std::int32_t>(j);
        neighbours[static_cast<std::size_t>(next[j]++)] = static_cast<std::int32_t>(i);
    });
}

/// The place of every equation in an order by METIS, 1-based.
bool order(const tool::SparseMatrix& a, std::vector<MUMPS_INT>& position) {
    std::vector<std::int32_t> start, neighbours, permutation(static_cast<std::size_t>(a.n));
    position.resize(permutation.size());
    full_graph(a, start, neighbours);
    Accounting memory;
    Context context(memory);
    if (METIS_NodeND_order(context, a.n, start.data(), neighbours.data(), permutation.data(),
                           position.data()) != Status::OK)
        return false;
    for (MUMPS_INT& place : position) ++place;
    return true;
}
#endif

class Mumps final : public DirectSolver {
public:
    explicit Mumps(const Problem& problem) : a_(problem.matrix) {
        const tool::SparseMatrix& a = a_;
        columns_.reserve(a.row_ind.size());
        rows_.reserve(a.row_ind.size());
        for (std::int32_t j = 0; j < a.n; ++j)
            for (std::int32_t k = a.col_ptr[static_cast<std::size_t>(j)];
                 k < a.col_ptr[static_cast<std::size_t>(j) + 1]; ++k) {
                rows_.push_back(a.row_ind[static_cast<std::size_t>(k)] + 1);
                columns_.push_back(j + 1);
            }
        data_.sym = problem.kind == Definiteness::POSITIVE ? 1 : 2;
        data_.par = 1;
        data_.comm_fortran = USE_COMM_WORLD;
        call(JOB_INIT, "start");
        for (int unit = 1; unit <= 4; ++unit) icntl(unit) = 0; // silent
        icntl(7) = ORDERING;
        icntl(14) = 30;
        icntl(28) = 1; // sequential analysis
        if (problem.folder.empty()) return;
        icntl(22) = 1; // out of core
        problem.folder.copy(data_.ooc_tmpdir, sizeof data_.ooc_tmpdir - 1);
    }

    ~Mumps() override {
        data_.job = JOB_END;
        dmumps_c(&data_);
    }

    void analyse() override {
        if (!order(a_, position_)) throw SolverError("METIS failed");
        data_.n = a_.n;
        data_.nnz = static_cast<MUMPS_INT8>(rows_.size());
        data_.irn = rows_.data();
        data_.jcn = columns_.data();
        data_.a = const_cast<double*>(a_.values.data()); // read only
        data_.perm_in = position_.data();
        call(JOB_ANALYSE, "analysis");
    }

    void factorise() override {
        data_.job = JOB_FACTORISE;
        for (;;) {
            dmumps_c(&data_);
            const bool too_small = data_.infog[0] == -8 || data_.infog[0] == -9;
            if (!too_small || icntl(14) * 2 > LARGEST_RELAXATION) break;
            icntl(14) *= 2;
        }
        check("factorization");
    }

    void solve(tool::DenseMatrix& x) override {
        data_.nrhs = x.n_cols;
        data_.lrhs = x.n_rows;
        data_.rhs = x.values.data();
        call(JOB_SOLVE, "solve");
    }

    double flops() const override { return data_.rinfog[2]; }

    double factor_entries() const override {
        const double entries = data_.infog[28]; // negative: millions
        return entries < 0 ? -1e6 * entries : entries;
    }

    std::string version() const override { return "MUMPS " MUMPS_VERSION; }

private:
    /// Control parameter by its number in the manual.
    MUMPS_INT& icntl(int number) { return data_.icntl[number - 1]; }

    void call(MUMPS_INT job, const char* phase) {
        data_.job = job;
        dmumps_c(&data_);
        check(phase);
    }

    void check(const char* phase) const {
        if (data_.infog[0] < 0)
            throw SolverError(std::string(phase) + " ended with status " + std::to_string(data_.infog[0]) +
                              ", " + std::to_string(data_.infog[1]));
    }

    const tool::SparseMatrix& a_;
    std::vector<MUMPS_INT> rows_, columns_; ///< 1-based
    std::vector<MUMPS_INT> position_;       ///< of every equation in the pivot order, 1-based; may be empty
    DMUMPS_STRUC_C data_ = {};
};

} // namespace

std::unique_ptr<DirectSolver> make_mumps(const Problem& problem) {
    return std::make_unique<Mumps>(problem);
}

} // namespace vyr::bench
