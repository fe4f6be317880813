// Every substitution kernel, judged by the residual of the matrix that was factorised.
#include "platform/platform.h"
#include "solve/node_steps.h"
#include "solve/solve.h"
#include "support/capture.h"
#include "support/engine.h"

#include <gtest/gtest.h>

using namespace vyr;
using namespace vyr::test;

namespace {

/// Complete graphs of 1 to 40 vertices, each joined to earlier vertices by its last one. Indefinite: in place
/// of some diagonal entries that meet no other graph, zeros.
Csc chain(Rng& rng, bool definite) {
    Edges edges;
    std::vector<bool> weak;
    for (int count = 3 + static_cast<int>(rng() % 8); count > 0; --count) {
        const auto first = static_cast<std::int32_t>(weak.size()),
                   size = static_cast<std::int32_t>(1 + rng() % 40);
        for (auto [i, j] : dense_edges(size)) edges.emplace_back(first + i, first + j);
        for (std::int32_t k = 0; k + 1 < size; ++k) weak.push_back(!definite && size > 4 && rng() % 2 == 0);
        weak.push_back(false);
        for (int k = 0; first > 0 && k < 3; ++k) {
            const auto other = static_cast<std::int32_t>(rng() % first);
            if (!weak[other]) edges.emplace_back(first + size - 1, other);
        }
    }
    Csc a = spd(static_cast<std::int32_t>(weak.size()), edges, rng());
    for (std::int32_t j = 0; j < a.n; ++j)
        if (weak[j])
            a.values[a.colptr[j]] = 0;
        else if (!definite && rng() % 2 == 0)
            a.values[a.colptr[j]] *= -1;
    return a;
}

/// One factor and what is solved with it, in an empty current directory.
struct Solves {
    TempDirectory directory;
    TestContext test;
    EngineRun run{test};
    Settings& settings = test.context.settings;
    Csc a;

    Solves(const Csc& matrix, int type, int core_mode = CORE_IN) : a(matrix) {
        settings.n_threads = 1, settings.type = type, settings.core_mode = core_mode;
    }
    /// Solves for nrhs columns in a block of some more; returns how many columns hold solutions and checks
    /// that the others are as they were, and the factor too.
    int solved(int nrhs, bool block, Status expected = Status::OK) {
        const std::vector<double> b = random_vector(a.n * (nrhs + 2), static_cast<std::uint64_t>(nrhs));
        const std::vector<double> before = factor_bytes();
        std::vector<double> x = b;
        EXPECT_EQ(mf_solve(test.context, run.factor, matrix_of(a), x.data(), nrhs, block), expected);
        EXPECT_EQ(factor_bytes(), before);
        int count = 0;
        while (count < nrhs && backward_error(a, &x[count * a.n], &b[count * a.n]) < 1e-10) ++count;
        EXPECT_TRUE(std::equal(x.begin() + count * a.n, x.end(), b.begin() + count * a.n)) << count;
        return count;
    }
    std::vector<double> factor_bytes() const {
        const Factor& f = run.factor;
        std::vector<double> all(f.diag_values.get(), f.diag_values.get() + f.diag_values.count());
        all.insert(all.end(), f.lu_values.get(), f.lu_values.get() + f.lu_values.count());
        all.insert(all.end(), f.pivot_index.get(), f.pivot_index.get() + f.pivot_index.count());
        return all;
    }
};

} // namespace

TEST(SolveKernels, CholeskySolvesAnyNumberOfRightHandSidesWithEveryInstructionSet) {
    Rng rng(test_seed());
    for (int round = 0; round < 6; ++round) {
        Solves s(chain(rng, true), TYPE_SPD);
        ASSERT_EQ(s.run.run(s.a), Status::OK);
        for (int set = 0; set <= static_cast<int>(simd::instruction_set()); ++set) {
            s.settings.instructions = static_cast<simd::InstructionSet>(set);
            for (int nrhs = 1; nrhs <= 40; ++nrhs)
                ASSERT_EQ(s.solved(nrhs, true), nrhs) << set << " " << round;
        }
        EXPECT_EQ(s.solved(3, false), 1);
    }
}

TEST(SolveKernels, PairsAndExchangesAreSolvedByLoopsAndByBlasInCoreAndOutOfIt) {
    Rng rng(test_seed());
    int n_pairs = 0, n_exchanges = 0, n_files = 0;
    for (int round = 0; round < 30; ++round)
        for (const int core_mode : {CORE_IN, CORE_OUT}) {
            Solves s(chain(rng, false), TYPE_LDLT, core_mode);
            ASSERT_EQ(s.run.run(s.a), Status::OK) << round;
            for (s.settings.type = TYPE_LDLT; s.settings.type <= TYPE_CSYM; ++s.settings.type)
                ASSERT_EQ(s.solved(2, round % 2 == 0), 1) << round << " " << core_mode;
            n_pairs += static_cast<int>(s.test.context.statistics.n_two_by_two);
            n_files += s.run.factor.files.count;
            for (std::int32_t k = 0; k < s.run.analysis.n_snodes; ++k) {
                const mf_snode& node = s.run.analysis.snodes[k];
                for (std::int32_t i = 0; i < node.npiv; ++i)
                    n_exchanges += s.run.factor.pivot_index[node.first() + i] != i;
            }
        }
    EXPECT_GT(n_pairs, 30);
    EXPECT_GT(n_exchanges, 100);
    EXPECT_GT(n_files, 30);
}

TEST(SolveKernels, TypeCoreModeAndStorageChooseTheKernel) {
    // Counted allocations tell the kernels apart: a vector in core, lists, blocks and a vector out of core.
    struct Row {
        int type, mode, columns, n_allocations;
        bool block;
    };
    const Row rows[] = {{11, 0, 3, 1, true},  {11, 0, 1, 1, false}, {11, 3, 3, 1, true}, {11, 3, 1, 1, false},
                        {11, 1, 1, 3, true},  {11, 2, 1, 3, false}, {11, 4, 1, 3, true}, {11, 4, 1, 3, false},
                        {11, 5, 1, 3, true},  {11, 5, 1, 1, false}, {12, 0, 1, 1, true}, {12, 3, 1, 1, false},
                        {13, 5, 1, 3, false}, {13, 1, 1, 3, true},  {13, 0, 1, 1, true}, {14, 0, 0, 0, true},
                        {2, 0, 0, 0, true},   {10, 0, 0, 0, false}, {99, 1, 0, 0, true}};
    Rng rng(test_seed());
    for (const Row& row : rows) {
        SCOPED_TRACE(std::to_string(row.type) + " " + std::to_string(row.mode));
        const bool indefinite = row.type == 12 || row.type == 13;
        Solves s(chain(rng, !indefinite), indefinite ? TYPE_LDLT : TYPE_SPD);
        ASSERT_EQ(s.run.run(s.a), Status::OK);
        s.settings.type = row.type, s.settings.core_mode = row.mode;
        const int before = s.test.memory.alloc_count;
        EXPECT_EQ(s.solved(3, row.block), row.columns);
        EXPECT_EQ(s.test.memory.alloc_count - before, row.n_allocations);
        s.test.context.log.messages = true;
        s.test.context.statistics.t_mapped_io = 2500;
        (void)s.solved(1, false);
        const std::string line = "\r\n\tMAP=0,X_Time=2.5\t\t";
        EXPECT_EQ(s.test.text, row.type == 12 && row.mode == 3 ? line + line : "");
    }
}

TEST(SolveKernels, FactorFilesAreReadPassByPassAndAMissingOneIsNamed) {
    Rng rng(test_seed());
    for (const int type : {TYPE_SPD, TYPE_LDLT}) {
        Solves s(chain(rng, type == TYPE_SPD), type, CORE_OUT);
        ASSERT_EQ(s.run.run(s.a), Status::OK);
        for (const int mode : {CORE_OUT, CORE_IN, CORE_GBLAS}) { // nothing is in core, whatever the mode
            s.settings.core_mode = mode;
            EXPECT_EQ(s.solved(2, mode != CORE_IN), 1);
        }
        s.test.context.log.messages = true;
        EXPECT_EQ(s.solved(1, false), 1);
        const double share = std::stod(s.test.text.substr(13));
        EXPECT_EQ(s.test.text.substr(0, 13), "\r\n\t\tIO/solve=");
        EXPECT_TRUE(share >= 0 && share <= 1) << share;
        for (std::int64_t k = 1; k <= 4;
             ++k) { // lists, blocks, vector, and the buffer that another solve has
            const Buffer<char> taken = s.run.factor.read_buffer.take();
            s.test.faults.allocation.set(k);
            EXPECT_EQ(s.solved(1, false, Status::MEMORY), 0);
        }
        ASSERT_TRUE(std::filesystem::remove("VYR_ 1.mmf"));
        s.settings.scaling = 2;
        std::vector<double> b = random_vector(s.a.n, 1), x = b;
        EXPECT_EQ(mf_solve(s.test.context, s.run.factor, matrix_of(s.a), x.data(), 1, false),
                  Status::FACTOR_FILE);
        EXPECT_STREQ(s.test.context.reason, "factor file 1 cannot be read or belongs to another factor");
        EXPECT_NE(x, b);
    }
}

TEST(SolveKernels, BlocksSolvesPassOverNegativeRecordsAndRefuseEmptyBlocks) {
    // D = (2, 4, 8), L^T = [1 3 5; 1 7; 1].
    const double a[9] = {2, 0, 0, 3, 4, 0, 5, 7, 8};
    const std::int32_t record[3] = {0, -1, 2};
    double v[3] = {1, 2, 13}, z[3] = {-9, -9, -9}, dot = 0;
    EXPECT_EQ(mf_ldlt_block_solve('L', 3, a, 3, record, v, z), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{0.5, -1, 1}));
    EXPECT_EQ((std::vector<double>(z, z + 3)), (std::vector<double>{1, -9, 8}));
    EXPECT_EQ(mf_ldlt_block_solve('U', 3, a, 3, record, v, nullptr), 0);
    EXPECT_EQ((std::vector<double>(v, v + 3)), (std::vector<double>{-1.5, -1, 1}));
    EXPECT_EQ(mf_ldlt_block_solve('L', 0, a, 3, record, v, z), -1);
    mf_dot(3, a, 3, a, 4, &dot, 0);
    EXPECT_EQ(dot, 2.0 * 2 + 3.0 * 4 + 5.0 * 8);
}
