#include "indefinite.h"
#include "interface/process_state.h"
#include "paired.h"
#include "support/capture.h"
#include "support/session.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>

extern "C" {
void dsysv_(const char* uplo, const int* n, const int* nrhs, double* a, const int* lda, int* ipiv, double* b,
            const int* ldb, double* work, const int* lwork, int* info);
void dsyev_(const char* jobz, const char* uplo, const int* n, double* a, const int* lda, double* w,
            double* work, const int* lwork, int* info);
}

using namespace vyr;
using namespace vyr::test;

namespace {

/// What the second VYR_init_ld puts in force.
struct Road {
    int type;
    int core_mode;
};
constexpr Road ROADS[] = {{TYPE_LDLT, CORE_IN},
                          {TYPE_LDLT, CORE_GPU},
                          {TYPE_LDLT, CORE_GBLAS},
                          {TYPE_CSYM, CORE_IN},
                          {TYPE_CSYM, CORE_GBLAS}};

/// Analyses, puts the road in force, factorises. VYR_init_ld turns type 13 into 12, so that one is set behind
/// it.
int factorize(Session& session, const Csc& a, Road road = ROADS[0]) {
    session.param[VYR_PARAM_CORE_MODE] = 0;
    session.param[VYR_PARAM_BLOCKED] = 1; // keeps paired equations together
    EXPECT_EQ(session.init(a, TYPE_SPD), VYR_OK);
    EXPECT_TRUE(session.symbol(a));
    session.param[VYR_PARAM_CORE_MODE] = road.core_mode;
    EXPECT_EQ(session.init(a, TYPE_LDLT), VYR_OK);
    EXPECT_EQ(ctrl_int(CTRL_CORE_MODE), road.core_mode);
    mf_ctrl[CTRL_TYPE] = road.type;
    return session.numeric(a);
}

std::vector<double> dense(const Csc& a) {
    std::vector<double> full(static_cast<std::size_t>(a.n) * a.n, 0.0);
    for (std::int32_t j = 0; j < a.n; ++j)
        for (std::int32_t k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
            full[a.rowind[k] + static_cast<std::size_t>(j) * a.n] = a.values[k];
    return full;
}

std::vector<double> dense_solve(const Csc& a, std::vector<double> b) {
    std::vector<double> full = dense(a), work(64 * static_cast<std::size_t>(a.n));
    std::vector<int> ipiv(static_cast<std::size_t>(a.n));
    const int one = 1, lwork = 64 * a.n;
    int info = 0;
    dsysv_("L", &a.n, &one, full.data(), &a.n, ipiv.data(), b.data(), &a.n, work.data(), &lwork, &info);
    EXPECT_EQ(info, 0);
    return b;
}

int positive_eigenvalues(const Csc& a) {
    std::vector<double> full = dense(a), work(64 * static_cast<std::size_t>(a.n)),
                        w(static_cast<std::size_t>(a.n));
    const int lwork = 64 * a.n;
    int info = 0;
    dsyev_("N", "L", &a.n, full.data(), &a.n, w.data(), work.data(), &lwork, &info);
    EXPECT_EQ(info, 0);
    return static_cast<int>(std::count_if(w.begin(), w.end(), [](double v) { return v > 0; }));
}

/// Positive eigenvalues of D, 2 x 2 pivots included (one of each sign: their determinant is negative).
int positive_pivots(const vyr::mf_solver& solver) {
    int positive = 0;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t k = 0; k < node.npiv; ++k) {
            const double* d = node.factor_block + k + std::int64_t{k} * node.npiv;
            const bool pair = k + 1 < node.npiv && d[1] != 0.0;
            positive += pair || d[0] > 0.0 ? 1 : 0;
            k += pair ? 1 : 0;
        }
    }
    return positive;
}

/// Largest difference relative to the largest entry.
double distance(const std::vector<double>& x, const std::vector<double>& y) {
    double difference = 0.0, size = 0.0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!(std::fabs(x[i] - y[i]) <= difference)) difference = std::fabs(x[i] - y[i]);
        size = std::max(size, std::fabs(y[i]));
    }
    return difference / size;
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2),
                     values.end());
    return values[values.size() / 2];
}

/// Dense enough that a zero diagonal has a partner in its own node.
std::vector<Csc> small_matrices(Rng& rng) {
    std::vector<Csc> matrices;
    for (const double shift : {0.7, 2.9, 5.1}) {
        matrices.push_back(shifted_laplacian(13, 14, 1, shift));
        matrices.push_back(shifted_laplacian(6, 7, 7, shift));
    }
    for (const double weak : {0.0, 0.5, 1.0})
        for (const std::int32_t n : {2, 30, 150, 300})
            matrices.push_back(random_indefinite(n, dense_edges(n), weak, rng));
    for (const std::int32_t n : {40, 200, 300})
        matrices.push_back(random_indefinite(n, random_edges(n, 5 * n, rng), 0.0, rng));
    for (const std::int32_t every : {2, 5}) matrices.push_back(paired(saddle_point(14, 14, every, rng)));
    matrices.push_back(random_indefinite(300, clique_chain_edges(20, 15), 0.6, rng));
    matrices.push_back(spd(250, disconnected_grid_edges(5, 10, 5)));
    return matrices;
}

} // namespace

TEST(IndefiniteMatrices, AgreeWithADenseSolverAndDWithTheSignsOfTheEigenvaluesOnEveryRoad) {
    Rng rng(test_seed());
    std::vector<double> errors;
    std::int64_t n_pairs = mf_n_p2;
    for (const Csc& a : small_matrices(rng)) {
        const std::vector<double> b = random_vector(a.n, rng()), expected = dense_solve(a, b);
        const int n_positive = positive_eigenvalues(a);
        for (const Road road : ROADS) {
            SCOPED_TRACE(testing::Message()
                         << "n " << a.n << " type " << road.type << " mode " << road.core_mode);
            Session session;
            ASSERT_EQ(factorize(session, a, road), VYR_OK);
            EXPECT_EQ(positive_pivots(session.solver()), n_positive);
            const std::vector<double> x = session.solve(a, b);
            EXPECT_LE(distance(x, expected), 1e-6);
            errors.push_back(backward_error(a, x.data(), b.data()));
            EXPECT_LE(errors.back(), 1e-8);
        }
    }
    EXPECT_LE(median(errors), 1e-13);
    EXPECT_GT(mf_n_p2, n_pairs);
}

TEST(IndefiniteMatrices, ASinglePairIsExactDownToSubnormalEntries) {
    for (const Road road : ROADS)
        for (const double e : {1.0, 1e-309}) {
            Csc a = spd(2, dense_edges(2));
            a.values = {0.0, e, 0.0};
            Session session;
            ASSERT_EQ(factorize(session, a, road), VYR_OK);
            EXPECT_EQ(session.solve(a, {e, 2.0 * e}), (std::vector<double>{2.0, 1.0}));
        }
}

// Without refinement. The smallest pivots of a matrix with eigenvalues on both sides of zero shrink beside
// their rows as n grows, and alpha lets them pass: the error grows with n.
TEST(IndefiniteMatrices, LargerOnesOfEveryKindAreSolvedToTheSameBar) {
    Rng rng(test_seed());
    enum { LAPLACIANS, RANDOM, SADDLE_POINTS, LARGE_LAPLACIANS, N_KINDS };
    std::vector<Csc> kinds[N_KINDS];
    for (int i = 0; i < 20; ++i) {
        const double shift = 0.13 + 0.19 * i;
        kinds[LAPLACIANS].push_back(shifted_laplacian(32, 31, 1, shift));
        kinds[LAPLACIANS].push_back(shifted_laplacian(10, 10, 10, shift));
        kinds[RANDOM].push_back(random_indefinite(400, random_edges(400, 2000, rng), 0.0, rng));
        kinds[RANDOM].push_back(random_indefinite(600, clique_chain_edges(40, 15), 0.6, rng));
        kinds[SADDLE_POINTS].push_back(paired(saddle_point(32, 31, 2 + i % 5, rng)));
        if (i % 5 == 0) kinds[LARGE_LAPLACIANS].push_back(shifted_laplacian(70, 60, 1, shift));
        if (i % 5 == 0) kinds[LARGE_LAPLACIANS].push_back(shifted_laplacian(17, 16, 15, shift));
    }
    for (int kind = 0; kind < N_KINDS; ++kind) {
        std::vector<double> errors;
        for (const Csc& a : kinds[kind]) {
            Session session;
            ASSERT_EQ(factorize(session, a), VYR_OK) << kind;
            errors.push_back(solve_error(session, a, a));
            EXPECT_LE(errors.back(), 1e-8) << kind;
        }
        EXPECT_LE(median(errors), kind == LARGE_LAPLACIANS ? 1e-12 : 1e-13) << kind;
    }
}

// A zero on the diagonal of a node without a partner ends in a status, and the handle serves the next values.
TEST(IndefiniteMatrices, OutOfReachIsAStatusAndNewValuesAreWelcome) {
    Rng rng(test_seed());
    Session session;
    Csc a = random_indefinite(400, random_edges(400, 1200, rng), 0.0, rng), zero = a;
    for (std::int32_t j = 0; j < a.n; ++j) zero.values[static_cast<std::size_t>(a.colptr[j])] = 0.0;
    EXPECT_EQ(factorize(session, zero), VYR_ERR_ILL_CONDITIONED);
    (void)session.solve(zero, random_vector(a.n, 1)); // no crash; the answer is of no use
    for (const Road road : ROADS) {
        mf_ctrl[CTRL_TYPE] = road.type;
        mf_ctrl[CTRL_CORE_MODE] = road.core_mode;
        for (double& value : a.values) value *= 1.5;
        ASSERT_EQ(session.numeric(a), VYR_OK);
        EXPECT_LE(solve_error(session, a, a), 1e-10);
    }
    std::vector<double> pivots(static_cast<std::size_t>(a.n));
    std::vector<int> marks(pivots.size());
    EXPECT_EQ(VYR_pivot_ld(session.handle, pivots.data(), marks.data()), 0);
    EXPECT_EQ(std::count(pivots.begin(), pivots.end(), -DBL_MAX), a.n);
    EXPECT_EQ(std::count(marks.begin(), marks.end(), -1), a.n);
}

TEST(IndefiniteMatrices, ARefusedAllocationIsAStatusAndTheNextRunSucceeds) {
    HookGuard guard;
    const Csc a = shifted_laplacian(9, 8, 3, 1.7);
    const std::vector<double> b = random_vector(a.n, 3);
    Session session;
    ASSERT_EQ(session.init(a), VYR_OK);
    ASSERT_TRUE(session.symbol(a));
    ASSERT_EQ(session.init(a, TYPE_LDLT), VYR_OK);
    mf_test_hooks.fail_allocation_at = 1;
    EXPECT_EQ(session.numeric(a), VYR_ERR_MEMORY);
    HookGuard::reset();
    ASSERT_EQ(session.numeric(a), VYR_OK);
    mf_test_hooks.fail_allocation_at = 1;
    EXPECT_EQ(session.solve(a, b), b);
    EXPECT_EQ(info_status(), VYR_ERR_MEMORY);
    EXPECT_LE(solve_error(session, a, a), 1e-12);
}
