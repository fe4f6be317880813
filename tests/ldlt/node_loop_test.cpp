#include "indefinite.h"
#include "interface/process_state.h"
#include "numeric/input_assembly.h"
#include "numeric/ldlt_storage.h"
#include "numeric/node_loop.h"
#include "solve/solve_ldlt.h"
#include "support/capture.h"
#include "symbolic/symbolic.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <memory>
#include <string>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Release {
    void operator()(vyr::mf_solver* solver) const { mf_release_solver(solver); }
};
using Solver = std::unique_ptr<vyr::mf_solver, Release>;

Solver analyse(const Csc& a) {
    std::fill_n(mf_ctrl, static_cast<int>(CTRL_COUNT), 0.0);
    std::fill_n(mf_info, static_cast<int>(INFO_COUNT), 0.0);
    mf_ctrl[CTRL_TYPE] = TYPE_SPD;
    mf_ctrl[CTRL_BLOCKED] = 1; // keeps equations of one pattern together
    Solver solver(mf_symbol(a.n, a.colptr.data(), a.rowind.data()));
    EXPECT_NE(solver, nullptr);
    return solver;
}

Status factorize(vyr::mf_solver& solver, const Csc& a, int type, int core_mode) {
    mf_ctrl[CTRL_TYPE] = type;
    mf_ctrl[CTRL_CORE_MODE] = core_mode;
    mf_assemble_input(solver, a.values.data());
    if (const Status status = mf_ldlt_prepare(solver); status != VYR_OK) return status;
    return mf_node_loop(solver, 0, solver.n_snodes);
}

std::vector<double> factor_of(const vyr::mf_solver& solver) {
    std::vector<double> upper;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t c = 0; c < node.n_rows(); ++c)
            for (std::int32_t k = 0; k < std::min(node.npiv, c + 2); ++k)
                upper.push_back(node.factor_block[k + std::int64_t{c} * node.npiv]);
    }
    return upper;
}

double largest_difference(const std::vector<double>& a, const std::vector<double>& b) {
    double difference = 0.0, largest = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference = std::max(difference, std::fabs(a[i] - b[i]));
        largest = std::max(largest, std::fabs(a[i]));
    }
    return a.size() == b.size() ? difference / largest : INFINITY;
}

} // namespace

TEST(NodeLoop, GivesOneFactorAndRightAnswersByEveryVariantAndByTheUpdateStack) {
    Rng rng(test_seed());
    std::int64_t n_pairs = 0, n_single_swaps = 0; // at least
    const Csc forest = spd(300, disconnected_grid_edges(3, 10, 10));
    for (const Csc& a : {shifted_laplacian(12, 11, 1, 1.3), shifted_laplacian(6, 7, 5, 2.7), forest,
                         random_indefinite(120, random_edges(120, 500, rng), 0.0, rng),
                         random_indefinite(300, clique_chain_edges(20, 15), 0.6, rng)}) {
        const Solver solver = analyse(a);
        const std::int64_t pairs_before = mf_n_p2;
        ASSERT_EQ(factorize(*solver, a, TYPE_LDLT, CORE_IN), VYR_OK);
        n_pairs += mf_n_p2 - pairs_before;
        n_single_swaps -= 2 * (mf_n_p2 - pairs_before);
        const std::vector<double> expected = factor_of(*solver), b = random_vector(a.n, rng());
        const std::vector<std::int32_t> record(solver->pivot_index, solver->pivot_index + a.n);
        EXPECT_GT(solver->n_snodes, 20);
        for (std::int32_t k = 0; k < a.n; ++k)
            n_single_swaps += record[k] != k - solver->snodes[solver->column_map[k]].first() ? 1 : 0;
        for (const int type : {TYPE_LDLT, TYPE_CSYM})
            for (const int mode : {CORE_IN, CORE_MAPPED, CORE_GPU, CORE_GBLAS}) {
                std::fill_n(solver->work_block, solver->ldw() * solver->ldw(), NAN);
                ASSERT_EQ(factorize(*solver, a, type, mode), VYR_OK);
                EXPECT_EQ(std::count_if(solver->work_block,
                                        solver->work_block + solver->ldw() * solver->ldw(),
                                        [](double v) { return std::isnan(v); }),
                          0);
                std::vector<double> x = b;
                EXPECT_EQ(mf_solve_ldlt(*solver, x.data()), 0);
                EXPECT_LE(backward_error(a, x.data(), b.data()), 1e-8) << type << " " << mode;
                EXPECT_LE(largest_difference(expected, factor_of(*solver)), 1e-8) << type << " " << mode;
                EXPECT_EQ(record, std::vector<std::int32_t>(solver->pivot_index, solver->pivot_index + a.n));
                EXPECT_EQ(solver->update_top, 0);
                EXPECT_EQ(solver->n_update_nodes, 0);
                for (std::int32_t s = 0; s < solver->n_snodes; ++s)
                    EXPECT_NE(solver->snodes[s].flags & NODE_FINISHED, 0u);
            }
    }
    EXPECT_GT(n_pairs, 0);
    EXPECT_GT(n_single_swaps, 0);
}

TEST(NodeLoop, StopsWhereNoPivotCanBeFoundOrABlockIsMissing) {
    const TempDirectory directory;
    Csc a = shifted_laplacian(9, 9, 1, 0.5);
    const Solver solver = analyse(a);
    ASSERT_EQ(factorize(*solver, a, TYPE_LDLT, CORE_IN), VYR_OK);
    EXPECT_FALSE(std::ifstream("mf_lu_0.mtx").good());

    Csc zero = a;
    std::fill(zero.values.begin(), zero.values.end(), 0.0);
    EXPECT_EQ(factorize(*solver, zero, TYPE_LDLT, CORE_IN), VYR_ERR_ILL_CONDITIONED);
    EXPECT_EQ(info_status(), VYR_ERR_ILL_CONDITIONED);

    mf_snode& root = solver->snodes[solver->n_snodes - 1];
    double* const block = std::exchange(root.factor_block, nullptr);
    EXPECT_EQ(factorize(*solver, a, TYPE_LDLT, CORE_IN), VYR_ERR_FACTOR_STORAGE);
    EXPECT_EQ(info_status(), VYR_ERR_FACTOR_STORAGE);
    root.factor_block = block;

    std::ifstream dump("mf_lu_0.mtx");
    std::string header;
    std::getline(dump, header);
    EXPECT_EQ(header, "%%MatrixMarket matrix coordinate real general");
    std::int64_t rows = 0, columns = 0, entries = 0, count = 0;
    dump >> rows >> columns >> entries;
    EXPECT_EQ(rows, a.n);
    EXPECT_EQ(columns, a.n);
    for (std::int64_t i, j; dump >> i >> j; ++count) {
        std::string value;
        dump >> value;
        EXPECT_TRUE(1 <= i && i <= j && j <= a.n);
    }
    EXPECT_EQ(count, entries);
    EXPECT_EQ(factorize(*solver, a, TYPE_LDLT, CORE_IN), VYR_OK) << "a failed run leaves nothing behind";
}

TEST(NodeLoop, StorageIsAllocatedAtFirstUseAndEveryRefusalIsAStatus) {
    HookGuard guard;
    const Solver solver = analyse(shifted_laplacian(8, 8, 2, 1.0));
    mf_ctrl[CTRL_CORE_MODE] = CORE_MAPPED;
    const std::int64_t front = std::exchange(solver->largest_front, 1);
    for (int array = 0; array < 5; ++array) {
        mf_test_hooks.fail_allocation_at = 1;
        EXPECT_EQ(mf_ldlt_prepare(*solver), VYR_ERR_MEMORY);
        mf_test_hooks.fail_allocation_at = 2;
        (void)mf_ldlt_prepare(*solver); // what it got stays
    }
    mf_test_hooks.fail_allocation_at = 1;
    EXPECT_EQ(mf_ldlt_prepare(*solver), VYR_OK) << "nothing left to allocate";
    EXPECT_EQ(solver->largest_front, front);
}

TEST(NodeLoop, SaysWhatItDoes) {
    Csc a = spd(2, dense_edges(2));
    a.values = {0.0, 1.0, 0.0};
    const Solver solver = analyse(a);
    mf_ctrl[CTRL_FLAGS] = 1;
    const std::int64_t pairs = mf_n_p2;
    const std::string text = output_of([&] { (void)factorize(*solver, a, TYPE_LDLT, CORE_IN); });
    EXPECT_EQ(text, "\r\tnoded=0...\r\n\tMF_S_SYTRF_:update=0(1),n_p2=" + std::to_string(pairs + 1));
    mf_ctrl[CTRL_FLAGS] = 0;
    EXPECT_EQ(output_of([&] { (void)factorize(*solver, a, TYPE_LDLT, CORE_IN); }), "");
    EXPECT_EQ(mf_n_p2, pairs + 2) << "counts on over all factorizations";
}
