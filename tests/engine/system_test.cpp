// Whole systems and what judges and improves their solutions, against definitions.
#include "engine/system.h"

#include "core/tuning.h"
#include "engine/engine.h"
#include "engine/full_storage.h"
#include "engine/memory_share.h"
#include "engine/refine.h"
#include "engine/residual.h"
#include "memory/factor_files.h"
#include "platform/platform.h"
#include "support/capture.h"
#include "support/engine.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/norms.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include <omp.h>

namespace vyr::test {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();

Csc csc(const tool::SparseMatrix& a) {
    return {a.n, a.col_ptr, a.row_ind, a.values};
}

tool::SparseMatrix sparse(const Csc& a) {
    return {a.n, a.colptr, a.rowind, a.values};
}

/// Largest backward error of several columns.
double worst_error(const Csc& a, const std::vector<double>& x, const std::vector<double>& b) {
    double worst = 0;
    for (std::size_t at = 0; at < b.size(); at += a.n)
        worst = std::max(worst, backward_error(a, &x[at], &b[at]));
    return worst;
}

struct Case {
    std::string name;
    Csc a;
    int type;
};

std::vector<Case> cases() {
    return {{"grid", csc(tool::poisson3d(9)), TYPE_SPD},
            {"brick", csc(tool::elasticity3d(4)), TYPE_SPD},
            {"one node", spd(20, dense_edges(20)), TYPE_SPD},
            {"trees", spd(600, disconnected_grid_edges(6, 10, 10)), TYPE_SPD},
            {"shifted", csc(tool::shifted3d(8)), TYPE_LDLT},
            {"saddle", csc(tool::kkt(15)), TYPE_LDLT}};
}

/// One matrix with two sets of values, which its factor knows nothing of beforehand.
void check_system(const Case& c, bool out_of_core, int n_threads, double process_limit) {
    TestContext test;
    Settings& settings = test.context.settings;
    const auto choose = [&](int type, int threads) {
        settings = Settings{};
        settings.type = type;
        settings.n_threads = threads;
        settings.core_mode = out_of_core ? CORE_OUT : CORE_IN;
        settings.directory = "files";
    };
    choose(c.type, n_threads);
    System system(test.memory);
    Csc a = c.a;
    ASSERT_EQ(mf_analyse_system(test.context, matrix_of(a), process_limit, system), Status::OK);
    const int threads = n_threads == 0 ? omp_get_max_threads() : n_threads;
    EXPECT_EQ(settings.n_threads, threads);
    EXPECT_EQ(system.analysis.schedule.n_threads, process_limit > 0 ? 1 : threads);
    EXPECT_EQ(system.n_threads, process_limit > 0 && c.name == "trees" ? 1 : threads);
    EXPECT_EQ(system.pairing.ties, c.name == "saddle");
    EXPECT_EQ(settings.blocked, c.type == TYPE_LDLT);
    for (const double factor : {1.0, c.type == TYPE_SPD ? 3.0 : -3.0}) {
        for (double& value : a.values) value *= factor;
        choose(TYPE_SPD, 5); // what the system remembers by itself
        ASSERT_EQ(mf_factorise_system(test.context, matrix_of(a), system), Status::OK);
        EXPECT_EQ(settings.type, c.type);
        EXPECT_EQ(settings.n_threads, system.n_threads);
        EXPECT_EQ(settings.block_limit_bytes,
                  process_limit > 0 ? process_limit - system.bytes_beside_blocks : 0);
        EXPECT_EQ(settings.reserve_bytes, test.context.statistics.memory_estimate);
        EXPECT_EQ(std::filesystem::exists("files/VYR_ 0.mmf"), out_of_core);
        settings.type = TYPE_SPD;
        for (const int nrhs : {1, 3}) {
            const std::vector<double> b = tool::known_right_hand_sides(sparse(a), nrhs).values;
            std::vector<double> x(b.size(), NAN);
            int refinements = -1;
            ASSERT_EQ(
                mf_solve_system(test.context, system, matrix_of(a), b.data(), x.data(), nrhs, refinements),
                Status::OK);
            EXPECT_LE(worst_error(a, x, b), 2e-14);
            EXPECT_GE(refinements, 0);
            for (int i = 0; i < a.n * nrhs; ++i)
                ASSERT_NEAR(x[i], 1 + i % a.n * (i / a.n) % 8 / 8.0, 1e-9) << i;
        }
    }
    double high = 0, low = INF;
    for (const double value : a.values) {
        high = std::max(high, std::abs(value));
        if (value != 0) low = std::min(low, std::abs(value));
    }
    EXPECT_EQ(test.context.statistics.value_max, high);
    EXPECT_EQ(test.context.statistics.diagonal_min, high);
    EXPECT_EQ(test.context.statistics.value_min, low);
}

} // namespace

TEST(Residual, ProductNormAndErrorFollowTheirDefinitions) {
    Rng rng(test_seed());
    TestContext test;
    for (int n = 1; n <= 20; ++n) {
        const Csc a = spd(n, random_edges(n, 2 * n, rng), rng());
        const Matrix matrix = matrix_of(a);
        const std::int64_t ldx = n + 1, ldb = n + 2; // what lies between the columns must not count
        std::vector<double> x(3 * ldx, 1e9), b(3 * ldb, 1e9), y(n), packed_x, packed_b;
        for (int k = 0; k < 3; ++k) {
            const std::vector<double> column = random_vector(n, rng()), image = multiply(a, column);
            std::copy_n(column.begin(), n, &x[k * ldx]);
            for (int i = 0; i < n; ++i) b[k * ldb + i] = image[i] + (k == n % 3 ? 1e-3 : 1e-6) * column[0];
            packed_x.insert(packed_x.end(), &x[k * ldx], &x[k * ldx] + n);
            packed_b.insert(packed_b.end(), &b[k * ldb], &b[k * ldb] + n);
        }
        mf_multiply(matrix, x.data(), y.data());
        EXPECT_EQ(y, multiply(a, {x.begin(), x.begin() + n}));
        double norm = 0, error = 0;
        ASSERT_EQ(mf_norm_inf(test.context, matrix, norm), Status::OK);
        EXPECT_DOUBLE_EQ(norm, tool::norm_inf(sparse(a)));
        ASSERT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 3, ldx, ldb, error),
                  Status::OK);
        EXPECT_NEAR(error, worst_error(a, packed_x, packed_b), 1e-12 * error);
        for (const double bad : {INF, static_cast<double>(NAN)}) {
            x[ldx + n / 2] = bad;
            ASSERT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 3, ldx, ldb, error),
                      Status::OK);
            EXPECT_TRUE(std::isnan(error)) << bad;
        }
        ASSERT_EQ(mf_backward_error(test.context, matrix, INF, x.data(), b.data(), 1, n, n, error),
                  Status::OK);
        EXPECT_TRUE(std::isnan(error));
        for (const int k : {1, 2}) {
            test.faults.allocation.set(k);
            EXPECT_EQ(mf_backward_error(test.context, matrix, x.data(), b.data(), 1, n, n, error),
                      Status::MEMORY);
        }
    }
}

TEST(Residual, HugeEntriesDoNotOverflowTheErrorAndNoResidualIsNoError) {
    TestContext test;
    const Csc a = diagonal({1e308, 1e308});
    const double x[] = {0.5, 1.0, 0.0, 0.0}, b[] = {1e308, 1e308, 0.0, 0.0};
    double error = 0;
    ASSERT_EQ(mf_backward_error(test.context, matrix_of(a), x, b, 2, 2, 2, error), Status::OK);
    EXPECT_DOUBLE_EQ(error, 0.25);
    ASSERT_EQ(mf_backward_error(test.context, matrix_of(a), x + 2, b + 2, 1, 2, 2, error), Status::OK);
    EXPECT_EQ(error, 0);
}

// A factor of s A turns a residual r into (1 - 1/s) r: good ones stop at once, slow ones after ten steps, bad
// ones are not followed.
TEST(Refinement, GoesOnWhileAStepHalvesTheErrorAndTakesTenSteps) {
    TestContext test;
    const Csc a = csc(tool::poisson2d(9));
    const std::vector<double> b = tool::known_right_hand_sides(sparse(a), 2).values;
    int most_steps = 0;
    for (const double s : {0.6, 0.9, 1.0, 1.0001, 1.3, 1.9, 2.6, 4.0, -1.0}) {
        EngineRun run(test);
        Csc scaled = a;
        for (double& value : scaled.values) value *= std::abs(s);
        ASSERT_EQ(run.run(scaled), Status::OK);
        const auto solve = [&](std::vector<double> r) { return run.solve(scaled, std::move(r), 2); };
        std::vector<double> expected(b.size(), s < 0 ? 3.0 : 0.0), x = expected;
        int steps = -1, expected_steps = 0;
        for (double error = worst_error(a, expected, b); expected_steps < 10 && error > 1e-14;
             ++expected_steps) {
            std::vector<double> better = b;
            for (int k = 0; k < 2; ++k) {
                const std::vector<double> image =
                    multiply(a, {expected.begin() + k * a.n, expected.begin() + (k + 1) * a.n});
                for (int i = 0; i < a.n; ++i) better[k * a.n + i] -= image[i];
            }
            better = solve(better);
            for (std::size_t i = 0; i < better.size(); ++i) better[i] += expected[i];
            if (!(worst_error(a, better, b) <= 0.5 * error)) break;
            expected = better;
            error = worst_error(a, expected, b);
        }
        ASSERT_EQ(mf_refine_columns(test.context, run.factor, matrix_of(a), b.data(), x.data(), 2, steps),
                  Status::OK);
        EXPECT_EQ(steps, expected_steps) << s;
        for (std::size_t i = 0; i < x.size(); ++i) ASSERT_NEAR(x[i], expected[i], 1e-12) << s;
        most_steps = std::max(most_steps, steps);
    }
    EXPECT_EQ(most_steps, 10);
}

TEST(System, EveryKindInEveryPlaceGivesTheKnownSolutionsForNewValuesToo) {
    for (const Case& c : cases())
        for (const int n_threads : {0, 1, 2})
            for (const double limit : {-1.0, 0.0, static_cast<double>(platform::resident_bytes()) + 1e9}) {
                SCOPED_TRACE(c.name + ", " + std::to_string(n_threads) + " threads, limit " +
                             std::to_string(limit));
                const TempDirectory directory;
                std::filesystem::create_directory("files");
                check_system(c, limit >= 0, n_threads, std::max(limit, 0.0));
            }
}

TEST(System, RefusedMemoryIsAStatusWhereverItHappens) {
    for (const Case& c :
         {Case{"grid", csc(tool::poisson2d(6)), TYPE_SPD}, Case{"saddle", csc(tool::kkt(6)), TYPE_LDLT}}) {
        const std::vector<double> b = tool::known_right_hand_sides(sparse(c.a), 2).values;
        bool done = false;
        for (int k = 1; !done; ++k) {
            TestContext test;
            test.context.settings.type = c.type;
            System system(test.memory);
            test.faults.allocation.set(k);
            std::vector<double> x(b.size());
            int refinements = 0;
            Status status = mf_analyse_system(test.context, matrix_of(c.a), 0, system);
            if (status == Status::OK) status = mf_factorise_system(test.context, matrix_of(c.a), system);
            if (status == Status::OK)
                status =
                    mf_solve_system(test.context, system, matrix_of(c.a), b.data(), x.data(), 2, refinements);
            done = test.faults.allocation.armed();
            ASSERT_EQ(status == Status::MEMORY || status == Status::FACTOR_STORAGE,
                      !done || status != Status::OK)
                << c.name << ": allocation " << k;
            if (status == Status::OK) {
                ASSERT_LE(worst_error(c.a, x, b), 1e-14) << c.name << ": allocation " << k;
            }
        }
    }
}

TEST(System, FailuresNameTheEntryOrTheEquation) {
    TestContext test;
    System system(test.memory);
    Csc a = csc(tool::poisson2d(6));
    ASSERT_EQ(mf_analyse_system(test.context, matrix_of(a), 0, system), Status::OK);
    for (const double bad : {INF, -INF, static_cast<double>(NAN)}) {
        const double good = std::exchange(a.values[a.colptr[4] + 1], bad);
        EXPECT_EQ(mf_factorise_system(test.context, matrix_of(a), system), Status::NAN_VALUE);
        EXPECT_STREQ(test.context.reason, "the value in row 6 of column 5 is not a finite number");
        a.values[a.colptr[4] + 1] = good;
    }
    a.values[0] = NAN;
    EXPECT_EQ(mf_factorise_system(test.context, matrix_of(a), system), Status::NAN_VALUE);
    EXPECT_STREQ(test.context.reason, "the value in row 1 of column 1 is not a finite number");
    a.values[0] = 4;
    a.values[a.colptr[16]] = -7.5;
    test.context.settings.pivot_min = 0.25;
    EXPECT_EQ(mf_factorise_system(test.context, matrix_of(a), system), Status::SMALL_PIVOT);
    EXPECT_EQ(std::string(test.context.reason).find("equation 17: pivot -"), 0U) << test.context.reason;
    EXPECT_NE(std::string(test.context.reason).find(" is not above 0.25"), std::string::npos);
}

TEST(Engine, AFailureWithoutASentenceGetsThatOfItsStatusAndASolveLooksAtWhatItIsGiven) {
    TestContext test;
    test.context.settings.type = TYPE_LDLT;
    EngineRun run(test);
    Csc a = spd(2, dense_edges(2));
    ASSERT_EQ(run.run(a), Status::OK);
    EXPECT_STREQ(test.context.reason, "");
    const auto solve = [&](int refinement_limit, Matrix matrix) {
        double b[] = {1, 2};
        test.context.settings.refinement_limit = refinement_limit;
        return mf_solve_system(test.context, run.factor, matrix, b, 1, false);
    };
    const std::int32_t falling[] = {0, 2, 1};
    const Matrix good = matrix_of(a), no_values{good, nullptr},
                 broken{{2, falling, good.row_ind}, good.values};
    EXPECT_EQ(solve(1, {{3, nullptr, nullptr}, nullptr}), Status::HANDLE);
    EXPECT_EQ(solve(1, no_values), Status::OK) << "reads nothing";
    EXPECT_EQ(solve(2, no_values), Status::NULL_MATRIX);
    EXPECT_EQ(solve(2, broken), Status::STRUCTURE);
    EXPECT_EQ(solve(2, good), Status::OK);
    test.context.settings.type = TYPE_SPD;
    test.context.settings.growth_limit = 10;
    a.values = {1e6, 1, 4};
    EngineRun steep(test);
    EXPECT_EQ(steep.run(a), Status::GROWTH);
    EXPECT_STREQ(test.context.reason, status_text(Status::GROWTH));
}

TEST(MemoryShare, CountsWhatIsDefinedAndTheAdvisedLimitIsItsSum) {
    for (const Case& c : cases()) {
        TestContext test;
        test.context.settings.type = c.type;
        test.context.settings.core_mode = CORE_OUT;
        System system(test.memory);
        ASSERT_EQ(mf_analyse_system(test.context, matrix_of(c.a), 1.0, system), Status::OK);
        const Analysis& analysis = system.analysis;
        std::int64_t nnz = 0;
        double path_bytes = 0, largest = 0;
        for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
            const mf_snode& node = analysis.snodes[s];
            for (std::int64_t j = 0; j < node.npiv; ++j) nnz += node.n_rows() - j;
            double bytes = 0;
            for (std::int32_t p = s; p >= 0; p = analysis.snode_parent[p])
                bytes += static_cast<double>(mf_block_cost(analysis.snodes[p].n_entries() * sizeof(double)));
            path_bytes = std::max(path_bytes, bytes);
            largest = std::max(largest, 8.0 * static_cast<double>(node.n_entries()));
        }
        EXPECT_EQ(mf_factor_nnz(analysis), nnz) << c.name;
        double bytes = 0;
        ASSERT_EQ(mf_path_bytes(test.context, analysis, bytes), Status::OK);
        EXPECT_EQ(bytes, path_bytes) << c.name;

        const double ld = static_cast<double>(analysis.ldw());
        const double fronts = c.type == TYPE_LDLT ? largest + 8 * ld * ld : 0;
        for (const int n_threads : {1, 3}) {
            const double a_thread = 24e6 + 8.0 * tuning::STRIP_COLUMNS * analysis.largest_update;
            const double rest = 24e6 + 12.0 * analysis.n_input + 64.0 * analysis.n + 8.0 * analysis.n_snodes;
            double beside = 0, resident = 0;
            do {
                resident = static_cast<double>(platform::resident_bytes());
                beside = mf_bytes_beside_blocks(analysis, c.type, n_threads);
            } while (resident != static_cast<double>(platform::resident_bytes()));
            EXPECT_NEAR(beside, resident + a_thread * n_threads + rest + fronts, 1) << c.name;
        }
        ASSERT_EQ(mf_least_limit(test.context, system, bytes), Status::OK);
        EXPECT_DOUBLE_EQ(bytes, system.bytes_beside_blocks + path_bytes +
                                    0.05 * 8.0 * static_cast<double>(analysis.factor_entries));
        test.faults.allocation.set(1);
        EXPECT_EQ(mf_least_limit(test.context, system, bytes), Status::MEMORY);
        // Of a limit that the rest of the process has used up nothing is left, and that is not "no limit".
        (void)mf_factorise_system(test.context, matrix_of(c.a), system);
        EXPECT_EQ(test.context.settings.block_limit_bytes, 1.0);
    }
}

TEST(FullStorage, HasBothTrianglesAndEveryDiagonal) {
    Rng rng(test_seed());
    TestContext test;
    for (int round = 0; round < 100; ++round) {
        const int n = static_cast<int>(1 + rng() % 9);
        Csc a = spd(n, random_edges(n, n, rng), rng());
        for (int j = 0; j < n; ++j) // some diagonal entries are lost
            if (rng() % 3 == 0) {
                a.rowind.erase(a.rowind.begin() + a.colptr[j]);
                a.values.erase(a.values.begin() + a.colptr[j]);
                for (int k = j + 1; k <= n; ++k) --a.colptr[k];
            }
        std::vector<double> expected(n * n, 0.0), dense(n * n, 0.0);
        for (int j = 0; j < n; ++j)
            for (int k = a.colptr[j]; k < a.colptr[j + 1]; ++k)
                expected[a.rowind[k] * n + j] = expected[j * n + a.rowind[k]] = a.values[k];
        FullStorage full;
        ASSERT_EQ(mf_sym_expand(test.context, matrix_of(a), full), Status::OK);
        const Matrix m = full.matrix();
        ASSERT_EQ(m.n, n);
        ASSERT_EQ(m.col_ptr[0], 0);
        for (int j = 0; j < n; ++j) {
            const std::int32_t *begin = m.row_ind + m.col_ptr[j], *end = m.row_ind + m.col_ptr[j + 1];
            EXPECT_TRUE(std::is_sorted(begin, end));
            EXPECT_EQ(std::adjacent_find(begin, end), end);
            EXPECT_TRUE(std::binary_search(begin, end, j));
            for (const std::int32_t* i = begin; i < end; ++i) dense[*i * n + j] = m.values[i - m.row_ind];
        }
        EXPECT_EQ(dense, expected);
        EXPECT_EQ(full.row_ind.count(), m.col_ptr[n]);
        test.faults.allocation.set(1 + round % 5);
        EXPECT_EQ(mf_sym_expand(test.context, matrix_of(a), full), Status::MEMORY);
    }
}

} // namespace vyr::test
