// Substitution kernels judged by residuals; scaling and refinement against their definitions.
#include "solve/node_steps.h"
#include "solve/solve.h"
#include "solve/substitution.h"
#include "support/capture.h"
#include "support/engine.h"

#include <cfloat>
#include <cmath>

using namespace vyr;
using namespace vyr::test;

namespace {

using Vector = std::vector<double>;

/// One factor and what is solved with it, in an empty current directory.
struct Solves {
    TempDirectory directory;
    TestContext test;
    EngineRun run{test};
    Settings& settings = test.context.settings;
    Csc a;

    Solves(const Csc& matrix, int type, int core_mode = CORE_IN) : a(matrix) {
        settings.n_threads = 1, settings.type = type, settings.core_mode = core_mode;
        EXPECT_EQ(run.run(a), Status::OK);
    }
    Status solve(Vector& x, int nrhs = 1, bool block = false) {
        return mf_solve(test.context, run.factor, matrix_of(a), x.data(), nrhs, block);
    }
    /// Solves for nrhs columns in a block of some more; returns how many columns hold solutions and checks
    /// that the others are as they were, and the factor too.
    int solved(int nrhs, bool block, Status expected = Status::OK) {
        const Vector b = random_vector(a.n * (nrhs + 2), static_cast<std::uint64_t>(nrhs));
        const Buffer<double>& values = run.factor.lu_values;
        const Vector before(values.get(), values.get() + values.count());
        Vector x = b;
        EXPECT_EQ(solve(x, nrhs, block), expected);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), values.get()));
        int count = 0;
        while (count < nrhs && backward_error(a, &x[count * a.n], &b[count * a.n]) < 1e-10) ++count;
        EXPECT_TRUE(std::equal(x.begin() + count * a.n, x.end(), b.begin() + count * a.n)) << count;
        return count;
    }
};

struct Refined {
    Vector x;
    double condition = 0;
    std::string text;
};

/// Refinement by its definition, on top of single substitutions; `mirrored`: s.a stores one triangle.
Refined refine(Solves& s, bool mirrored, const Vector& b) {
    Refined result{Vector(b.size(), 0.0), 0, ""};
    Vector r = b;
    double w_before = DBL_MAX, w_first = 0;
    int accepted = 0;
    for (bool more = true; more;) {
        EXPECT_EQ(mf_substitute(s.test.context, s.run.factor, r.data(), 1, false), Status::OK);
        Vector x = result.x;
        for (std::size_t i = 0; i < x.size(); ++i) x[i] += r[i];
        r = b;
        each_entry(s.a, [&](std::int32_t i, std::int32_t j, double value) {
            r[i] -= x[j] * value;
            if (mirrored && i != j) r[j] -= x[i] * value;
        });
        double w = 0, r_largest = 0, x_largest = 0;
        for (std::size_t i = 0; i < x.size(); ++i) {
            if (b[i] != 0 && w == w && !(std::abs(r[i] / b[i]) <= w)) w = std::abs(r[i] / b[i]);
            r_largest = std::max(r_largest, std::abs(r[i]));
            x_largest = std::max(x_largest, std::abs(x[i]));
        }
        if (accepted == 0) w_first = w, result.condition = r_largest / x_largest * std::pow(2.0, 52);
        if (w > w_before / 10) break;
        result.x = x, w_before = w, ++accepted;
        more = !(w < std::pow(2.0, -52)) && accepted < s.settings.refinement_limit;
    }
    char line[200];
    std::snprintf(line, sizeof line, "\r\n\t\tcond=%g,iter=%d,w_0=%g", result.condition, accepted, w_first);
    result.text = line;
    return result;
}

bool same(double a, double b) {
    return a == b || (std::isnan(a) && std::isnan(b));
}

} // namespace

TEST(Kernels, CholeskySolvesAnyNumberOfRightHandSidesWithEveryInstructionSet) {
    Rng rng(test_seed());
    for (int round = 0; round < 6; ++round) {
        Solves s(chain(rng, true), TYPE_SPD);
        for (int set = 0; set <= static_cast<int>(instruction_set()); ++set) {
            s.settings.instructions = static_cast<InstructionSet>(set);
            for (int nrhs = 1; nrhs <= 40; ++nrhs) ASSERT_EQ(s.solved(nrhs, true), nrhs) << set;
        }
        EXPECT_EQ(s.solved(3, false), 1);
    }
}

TEST(Kernels, GiveTheSameBitsOnAnyNumberOfThreadsAsTheFactorizationsDo) {
    enum Kind { SCHEDULED, BY_TREE, ONE_NODE, ONE_FRONT, DELAYED, LDLT, CSYM };
    const Csc grid = spd(16 * 17 * 18, grid_edges(16, 17, 18));
    for (const Kind kind : {SCHEDULED, BY_TREE, ONE_NODE, ONE_FRONT, DELAYED, LDLT, CSYM}) {
        const bool definite = kind <= ONE_NODE, dense = kind == ONE_NODE || kind == ONE_FRONT;
        const Csc pattern = dense ? spd(600, dense_edges(600)) : grid;
        const Csc a = definite ? pattern : shifted(pattern, 2.3);
        TestContext test;
        EngineRun run{test};
        Settings& settings = test.context.settings;
        settings.type = definite ? TYPE_SPD : kind == CSYM ? TYPE_CSYM : TYPE_LDLT;
        settings.delay_pivots = kind == DELAYED || kind == ONE_FRONT;
        settings.merge_nodes = settings.tree_schedule = kind == BY_TREE || kind == ONE_NODE;
        settings.n_threads = 3;
        ASSERT_EQ(run.analyse(a), Status::OK);
        const SolveCut& cut = run.analysis.solve_cut;
        const EliminationGraph& graph = run.analysis.graph;
        ASSERT_TRUE(dense || (cut.n_subtrees > 8 && cut.n_top > 8));
        ASSERT_TRUE(!definite || (graph.n_subtrees >= (kind == BY_TREE ? 16 : 0) && graph.n_panels > 2));
        const Vector b = random_vector(a.n * 5, 1);
        Vector first[2];
        for (const int n_threads : {1, 2, 5}) {
            settings.n_threads = n_threads;
            ASSERT_EQ(run.factorise(a), Status::OK);
            for (const int nrhs : {1, 5}) {
                Vector x = b;
                EXPECT_EQ(mf_solve(test.context, run.factor, matrix_of(a), x.data(), nrhs, nrhs > 1),
                          Status::OK);
                EXPECT_LT(backward_error(a, x.data(), b.data()), definite ? 1e-14 : 1e-9);
                Vector& expected = first[nrhs > 1];
                if (expected.empty()) expected = x;
                EXPECT_TRUE(std::equal(x.begin(), x.end(), expected.begin(), same))
                    << kind << " " << n_threads;
            }
        }
    }
}

TEST(Kernels, PairsAndExchangesAreSolvedByLoopsAndByBlasInCoreAndOutOfIt) {
    Rng rng(test_seed());
    double n_pairs = 0, n_files = 0;
    for (int round = 0; round < 60; ++round) {
        Solves s(chain(rng, false), TYPE_LDLT, round % 2 == 0 ? CORE_IN : CORE_OUT);
        for (s.settings.type = TYPE_LDLT; s.settings.type <= TYPE_CSYM; ++s.settings.type)
            ASSERT_EQ(s.solved(2, round % 4 > 1), 1) << round;
        n_pairs += s.test.context.statistics.n_two_by_two, n_files += s.run.factor.files.count;
    }
    EXPECT_TRUE(n_pairs > 30 && n_files > 30);
}

TEST(Kernels, ABlockSolveTakesWhatItsRecordSaysAndADotProductItsStrides) {
    const double a[] = {2, 0, 0, 3, 4, 0, 5, 6, 8}; // U is 1 3 5; 1 6; 1, D is 2 4 8
    const std::int32_t record[] = {1, -1, 2};
    double v[] = {1, 10, 100}, z[] = {7, 7, 7}, sum = 0;
    EXPECT_EQ(mf_ldlt_block_solve('L', 0, a, 3, record, v, z), -1);
    EXPECT_EQ(mf_ldlt_block_solve('L', 3, a, 3, record, v, z), 0); // the second row is passed over
    EXPECT_EQ(Vector(v, v + 3), (Vector{5, -29, 50.0 / 8}));
    EXPECT_EQ(Vector(z, z + 3), (Vector{10, 7, 50}));
    EXPECT_EQ(mf_ldlt_block_solve('U', 3, a, 3, record, v, nullptr), 0);
    EXPECT_EQ(Vector(v, v + 3), (Vector{-29, 5 + 87 - 5 * 6.25, 6.25}));
    mf_dot(2, a, 4, z, 2, &sum, 0);
    EXPECT_EQ(sum, 2 * 10 + 4 * 50);
}

TEST(Kernels, AreChosenByTypeCoreModeAndStorage) {
    // Counted allocations tell the kernels apart: a vector in core, lists, blocks and a vector out of core.
    struct Row {
        int type, mode, columns, n_allocations;
        bool block;
    };
    const Row rows[] = {{11, 0, 3, 1, true},  {11, 0, 1, 1, false}, {11, 3, 3, 1, true}, {11, 1, 1, 3, true},
                        {11, 4, 1, 3, true},  {11, 5, 1, 1, false}, {12, 0, 1, 2, true}, {12, 3, 1, 2, false},
                        {13, 5, 1, 3, false}, {13, 1, 1, 3, true},  {14, 0, 0, 0, true}, {99, 1, 0, 0, true}};
    Rng rng(test_seed());
    for (const auto& [type, mode, columns, n_allocations, block] : rows) {
        const bool indefinite = type == 12 || type == 13;
        Solves s(chain(rng, !indefinite), indefinite ? TYPE_LDLT : TYPE_SPD);
        s.settings.type = type, s.settings.core_mode = mode;
        s.test.context.log.messages = true;
        s.test.context.statistics.t_mapped_io = 2500;
        const int before = s.test.memory.alloc_count;
        EXPECT_EQ(s.solved(3, block), columns) << type << " " << mode;
        EXPECT_EQ(s.test.memory.alloc_count - before, n_allocations) << type << " " << mode;
        const std::string line = "\r\n\tMAP=0,X_Time=2.5\t\t";
        EXPECT_EQ(s.test.text, type == 12 && mode == 3 ? line + line : "");
    }
}

TEST(Kernels, ReadFactorFilesWhateverTheModeAndTellWhatThatTook) {
    Rng rng(test_seed());
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Solves s(chain(rng, type == TYPE_SPD), type, CORE_OUT);
        for (s.settings.core_mode = 5; s.settings.core_mode >= 0; --s.settings.core_mode)
            EXPECT_EQ(s.solved(2, s.settings.core_mode > 0), 1) << "nothing is in core, whatever the mode";
        s.settings.core_mode = CORE_OUT, s.test.context.log.messages = true;
        EXPECT_EQ(s.solved(1, false), 1);
        EXPECT_TRUE(s.test.text.starts_with("\r\n\t\tIO/solve=")) << s.test.text;
        const double share = std::stod(s.test.text.substr(13));
        EXPECT_TRUE(share >= 0 && share <= 1) << share;
        for (int k = 1; k <= 4; ++k) { // lists, blocks, vector, and the buffer that another solve has
            const Buffer<char> taken = s.run.factor.read_buffer.take();
            s.test.faults.allocation.set(k);
            EXPECT_EQ(s.solved(1, false, Status::MEMORY), 0);
        }
    }
}

TEST(Refinement, FollowsItsDefinitionForEveryLimitTypeAndMatrix) {
    Rng rng(test_seed());
    for (int round = 0; round < 400; ++round) {
        const auto n = static_cast<std::int32_t>(1 + rng() % 6);
        Solves s(spd(n, random_edges(n, n, rng), rng()), TYPE_SPD);
        const bool mirrored = round % 2 == 0;
        if (!mirrored) s.a = both_triangles(s.a), s.settings.type = TYPE_EXPAND;
        const double change[] = {0, 1e-9, 0.03, 0.08, 0.2, 1.5}, by = change[rng() % 6];
        for (double& value : s.a.values) value *= 1 + by;
        if (round % 23 == 0) s.a.values[0] = round % 2 == 0 ? 1e308 : NAN;
        Vector b = random_vector(n, rng());
        for (double& value : b) value = rng() % 8 == 0 ? 0 : std::round(value * 64);
        s.settings.refinement_limit = static_cast<int>(2 + rng() % 4);
        const Refined expected = refine(s, mirrored, b);
        s.test.context.log.messages = true;
        s.test.context.statistics.t_solve = -1;
        EXPECT_EQ(s.solve(b, 1, rng() % 2 == 0), Status::OK);
        EXPECT_GE(s.test.context.statistics.t_solve, 0);
        ASSERT_TRUE(std::equal(b.begin(), b.end(), expected.x.begin(), same)) << "round " << round;
        EXPECT_TRUE(same(s.test.context.statistics.condition, expected.condition)) << round;
        EXPECT_EQ(s.test.text, expected.text) << round;
    }
}

TEST(Refinement, IsLeftOutUpToALimitOfOneAndScalingDividesBeforeAndAfterTheSubstitution) {
    constexpr int N = 40;
    Rng rng(test_seed());
    Solves s(spd(N, random_edges(N, 60, rng), rng()), TYPE_SPD);
    const Vector rhs = random_vector(N, rng()), sol = random_vector(N, rng());
    s.run.factor.scale_rhs = Buffer<double>(s.test.memory, N);
    s.run.factor.scale_sol = Buffer<double>(s.test.memory, N);
    std::copy_n(rhs.begin(), N, s.run.factor.scale_rhs.get());
    std::copy_n(sol.begin(), N, s.run.factor.scale_sol.get());
    s.test.context.log.messages = true;
    for (const int limit : {-3, 0, 1})
        for (const int mode : {0, 1, 2, 3, 4, -1}) {
            s.settings.scaling = mode, s.settings.refinement_limit = limit;
            Vector x = random_vector(2 * N, rng()), ax = x;
            ASSERT_EQ(s.solve(x, 2, true), Status::OK);
            for (int i = 0; i < N && (mode == 2 || mode == 3); ++i) x[i] *= sol[i];
            for (int i = 0; i < N && (mode == 1 || mode == 3); ++i) ax[i] /= rhs[i];
            EXPECT_LE(worst_error(s.a, x, ax), 1e-14) << mode;
        }
    EXPECT_EQ(s.test.text, "");
}
