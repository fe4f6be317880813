// L D L^T, every variant, against the textbook's elimination one row at a time in higher precision.
#include "numeric/phases.h"
#include "support/capture.h"
#include "support/engine.h"

#include <cfloat>
#include <fstream>

using namespace vyr;
using namespace vyr::test;

namespace {

constexpr long double ALPHA = 1e-6 * 0.6403882032022076; // 10^-6 (1 + sqrt(17)) / 8

/// Keeps `density` of the entries beside the diagonal, in [-1, 1]; the share `weak` of the diagonal becomes
/// zero or about alpha, the rest large.
Csc indefinite(std::int32_t n, const Edges& edges, double weak, double density, Rng& rng) {
    std::uniform_real_distribution<double> chance(0.0, 1.0);
    Csc a = spd(n, edges, rng());
    for (double& value : a.values) value = chance(rng) < density ? value : 0.0;
    for (std::int32_t j = 0; j < n; ++j) {
        const double value = (rng() % 2 == 0 ? 1.0 : -1.0) * (2.0 + chance(rng));
        const bool tiny = rng() % 2 == 0;
        a.values[a.colptr[j]] = chance(rng) >= weak ? value * 20 : tiny ? 2e-7 * value : 0.0;
    }
    return a;
}

struct Textbook {
    std::vector<std::int32_t> exchanged; ///< up to the pivot that is none
    int early_flushes = 0, second_tests = 0, two_by_two = 0;
    bool sure = true;  ///< no choice hung on digits lost in a difference
    double growth = 0; ///< largest term of any entry, relative to the largest entry
};

/// Bunch and Kaufman's method within each node, by their rules, on P A P^T.
Textbook textbook(const Csc& lower, const Analysis& analysis) {
    Textbook result;
    const std::int32_t n = lower.n;
    std::vector<std::int32_t> inverse(n);
    std::vector<long double> values(static_cast<std::size_t>(n) * n, 0), terms = values;
    const auto at = [&](std::int32_t i, std::int32_t j) -> long double& { return values[i + j * n]; };
    double scale = DBL_MIN;
    for (std::int32_t k = 0; k < n; ++k) inverse[analysis.perm[k]] = k;
    each_entry(lower, [&](std::int32_t i, std::int32_t j, double value) {
        at(inverse[i], inverse[j]) = at(inverse[j], inverse[i]) = value;
        scale = std::max(scale, std::fabs(value));
    });
    for (std::int32_t k = 0, end = 0, block = 0; k < n;) {
        if (k == end) end += analysis.snodes[analysis.column_map[block = k]].npiv;
        if (k == block + LAPACK_BLOCK_SIZE) block = k;
        const auto largest = [&](std::int32_t row) { // beside the diagonal, among the node's pivots to come
            std::int32_t place = row;
            for (std::int32_t j = k; j < end; ++j)
                if (j != row && std::fabs(at(row, j)) > (place == row ? 0 : std::fabs(at(row, place))))
                    place = j;
            return place;
        };
        const auto exchange = [&](std::int32_t p, std::int32_t r) {
            for (auto* a : {&values, &terms}) {
                for (std::int32_t j = 0; j < n; ++j) std::swap((*a)[p + j * n], (*a)[r + j * n]);
                for (std::int32_t j = 0; j < n; ++j) std::swap((*a)[j + p * n], (*a)[j + r * n]);
            }
            result.exchanged.push_back(r);
        };
        const std::int32_t r = largest(k);
        const long double lambda = r == k ? 0 : std::fabs(at(k, r)), sigma = std::fabs(at(r, largest(r)));
        for (const std::int32_t place : {k + k * n, k + r * n, r + r * n})
            result.sure = result.sure && std::fabs(values[place]) >= 1e-9 * terms[place];
        const bool weak = ALPHA * lambda > std::fabs(at(k, k));
        const bool refused = weak && ALPHA * lambda * lambda > sigma * std::fabs(at(k, k));
        const bool pair = refused && !(std::fabs(at(r, r)) > ALPHA * sigma);
        result.early_flushes += weak && k > block ? 1 : 0;
        result.second_tests += refused ? 1 : 0;
        result.two_by_two += pair ? 1 : 0;
        if (weak) block = k;
        exchange(k, refused ? r : k);
        if (pair) exchange(k + 1, r);
        const long double d = at(k, k), e = pair ? at(k, k + 1) : 0, c = pair ? at(k + 1, k + 1) : 1;
        if (d * c - e * e == 0) return result.exchanged.resize(k), result;
        for (std::int32_t p = k, q = k += pair ? 2 : 1, j = k; j < n; ++j)
            for (std::int32_t i = k; i < n; ++i) {
                const long double x = at(i, p), y = at(i, q - 1), z = at(p, j), w = at(q - 1, j);
                const long double term =
                    pair ? (c * x * z - e * (x * w + y * z) + d * y * w) / (c * d - e * e) : x * z / d;
                at(i, j) -= term;
                terms[i + j * n] = std::max(terms[i + j * n], std::fabs(term));
            }
    }
    result.growth = 1 + static_cast<double>(*std::max_element(terms.begin(), terms.end())) / scale;
    return result;
}

} // namespace

TEST(Ldlt, TakesThePivotsOfTheTextbookAndSolvesWithThem) {
    Rng rng(test_seed());
    for (int trial = 0; trial < 400; ++trial) {
        const bool cliques = trial % 3 == 1;
        const auto n = static_cast<std::int32_t>(cliques ? 4 * 20 + 30 : 1 + rng() % 130);
        const Edges edges = cliques          ? cliques_and_separator(4, 20, 30)
                            : trial % 3 == 0 ? dense_edges(n)
                                             : random_edges(n, 4 * n, rng);
        Csc a = indefinite(n, edges, 0.25 * (trial % 5), trial % 2 == 0 ? 0.1 : 1.0, rng);
        for (double& value : a.values) value = std::ldexp(value, 900 * (trial % 4 % 3 - 1));
        TestContext test;
        Settings& settings = test.context.settings;
        settings.blocked = true;
        EngineRun run(test);
        ASSERT_EQ(run.analyse(a), Status::OK);
        settings.core_mode = std::vector{CORE_IN, CORE_MAPPED, CORE_GPU, CORE_GBLAS}[rng() % 4];
        settings.type = rng() % 2 == 0 ? TYPE_LDLT : TYPE_CSYM;
        SCOPED_TRACE(testing::Message() << "trial " << trial << " mode " << settings.core_mode);
        const Textbook expected = textbook(a, run.analysis);
        if (!expected.sure) continue;
        const auto n_pivots = static_cast<std::int32_t>(expected.exchanged.size());
        for (int round = 1; round <= 2; ++round) { // nothing of the first run is left
            run.factor.work.work_block.fill(NAN);
            test.context.log.messages = round == 2;
            for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s)
                run.factor.blocks[s].flags = BLOCK_TWO_BY_TWO;
            // Without the driver, which refuses the mapped mode.
            ASSERT_EQ(mf_assemble_input(test.context, a.values.data(), run.factor), Status::OK);
            ASSERT_EQ(mf_ldlt_prepare(test.context, run.factor), Status::OK);
            ASSERT_EQ(mf_node_loop(test.context, run.factor, 0, run.analysis.n_snodes),
                      n_pivots < n ? Status::ILL_CONDITIONED : Status::OK);
            EXPECT_EQ(test.context.statistics.n_two_by_two, round * expected.two_by_two);
        }
        if (n_pivots < n) {
            const std::string node = std::to_string(run.analysis.column_map[n_pivots]);
            EXPECT_TRUE(std::string(test.context.reason).ends_with("supernode " + node));
            continue;
        }
        char line[96];
        for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
            const mf_snode& node = run.analysis.snodes[s];
            for (std::int32_t k = 0; k < node.npiv; ++k) {
                const std::int32_t column = node.first() + k;
                ASSERT_EQ(node.first() + run.factor.pivot_index[column], expected.exchanged[column]);
            }
            ASSERT_TRUE(run.factor.blocks[s].flags & BLOCK_FINISHED);
        }
        std::snprintf(line, sizeof line, "\r\n\tMF_S_SYTRF_:update=%d(%d),n_p2=%d", expected.early_flushes,
                      expected.second_tests, 2 * expected.two_by_two);
        EXPECT_TRUE(test.text.ends_with(line)) << test.text;
        EXPECT_EQ(run.factor.work.update_top + run.factor.work.n_update_nodes, 0);
        ASSERT_LE(solve_error(run, a, trial), 1e-14 * expected.growth);
    }
}

TEST(Ldlt, DividesByWhatHasNoReciprocalAndRefusesAPairWithoutAnInverse) {
    const double e = 1e-309;
    const std::vector<double> rows[] = {
        {0, e, e, 0, e, 1}, {e / 4, 0, e, e / 8, 0, 1}, {0, 1, NAN}, {NAN, 1, 0}, {0, INFINITY, 0}};
    for (const std::vector<double>& values : rows) {
        const bool good = values.size() == 6;
        Csc a = spd(good ? 3 : 2, dense_edges(good ? 3 : 2));
        a.values = values;
        TestContext test;
        test.context.settings.type = TYPE_LDLT;
        EngineRun run(test);
        ASSERT_EQ(run.run(a), good ? Status::OK : Status::ILL_CONDITIONED);
        if (!good) continue;
        const std::vector<double> x = run.solve(a, multiply(a, {1, 2, 3e-309}));
        EXPECT_NEAR(x[0], 1, 1e-9);
        EXPECT_NEAR(x[1], 2, 1e-9);
    }
}

TEST(Ldlt, EveryFailureIsAStatusAndTheNextRunIsRight) {
    const TempDirectory directory;
    const Csc a = spd(81, grid_edges(9, 9));
    TestContext test;
    Settings& settings = test.context.settings;
    settings.core_mode = CORE_OUT; // its analysis counts smaller fronts
    EngineRun run(test);
    ASSERT_EQ(run.analyse(a), Status::OK);
    settings.type = TYPE_LDLT;
    settings.core_mode = CORE_MAPPED;
    for (int i = 0; i < 7; ++i) { // each finds what the runs before it got
        test.faults.allocation.set(i == 0 || i == 6 ? 1 : i == 5 ? 0 : 2);
        EXPECT_EQ(mf_ldlt_prepare(test.context, run.factor), i < 5 ? Status::MEMORY : Status::OK);
    }
    test.faults.allocation.set(0);
    for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s)
        EXPECT_GE(run.factor.work.front_work.count(), run.analysis.snodes[s].n_entries());
    settings.core_mode = CORE_IN;
    ASSERT_EQ(run.factorise(a), Status::OK);
    for (std::int32_t s = 0; s < run.analysis.n_snodes; ++s) {
        double* const block = std::exchange(run.factor.blocks[s].values, nullptr);
        settings.dump_factor = s + 1 == run.analysis.n_snodes;
        EXPECT_FALSE(std::ifstream("mf_lu_0.mtx").good());
        EXPECT_EQ(run.factorise(a), Status::FACTOR_STORAGE);
        if (!settings.dump_factor) run.factor.blocks[s].values = block;
    }
    // The root has no block: what there is of the factor is in a file.
    std::string text;
    std::ifstream dump("mf_lu_0.mtx");
    std::getline(dump, text);
    EXPECT_EQ(text, "%%MatrixMarket matrix coordinate real general");
    std::int64_t rows = 0, columns = 0, n_entries = 0, i = 0, j = 0;
    dump >> rows >> columns >> n_entries;
    EXPECT_TRUE(rows == a.n && columns == a.n && n_entries > 81);
    for (; dump >> i >> j >> text; --n_entries)
        ASSERT_EQ(std::stod(text), *entry_of(run.factor, static_cast<int>(i) - 1, static_cast<int>(j) - 1));
    EXPECT_EQ(n_entries, 0);
}
