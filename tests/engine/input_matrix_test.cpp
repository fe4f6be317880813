// Every form of a symmetric matrix against the entries it was made of.
#include "engine/input_matrix.h"

#include "support/engine.h"

#include <cmath>
#include <map>
#include <tuple>

namespace vyr::test {
namespace {

using enum Triangle;
using enum Status;

/// A matrix that owns its arrays.
struct Stored {
    InputMatrix form{};
    std::vector<std::int64_t> ptr{};
    std::vector<std::int32_t> ind{};
    std::vector<double> values{};
    std::vector<std::int32_t> narrow{};

    const InputMatrix& matrix() {
        values.resize(ind.size(), 1.0);
        narrow.assign(ptr.begin(), ptr.end());
        form.ptr = form.ptr_bytes == 8 ? static_cast<const void*>(ptr.data()) : narrow.data();
        form.ind = ind.data();
        form.values = values.data();
        return form;
    }
};

/// A random matrix in a random form. Values are small integers, whose sums are exact; where both halves are
/// stored, the upper one is a little larger.
struct Sample : Stored {
    std::map<std::pair<std::int32_t, std::int32_t>, double> lower; ///< by column and row
    bool repeats = false;

    explicit Sample(Rng& rng) {
        const auto below = [&](std::int32_t bound) { return static_cast<std::int32_t>(rng() % bound); };
        const std::int32_t n = 1 + below(9);
        form = {.n = n, .ptr_bytes = 4 + 4 * below(2), .base = below(2), .triangle = Triangle{below(3)}};
        form.by_rows = below(2) == 0;
        std::vector<std::tuple<std::int32_t, std::int32_t, double>> entries;
        for (std::int32_t left = 1 + below(3 * n); left > 0; --left) {
            const std::int32_t j = below(n), i = j + below(n - j), value = 1 + below(9);
            repeats |= lower.contains({j, i});
            lower[{j, i}] += value;
            for (const bool upper : {false, true}) {
                if (i == j ? upper : form.triangle == (upper ? LOWER : UPPER)) continue;
                const double share = upper && form.triangle == BOTH ? 1 + 5e-13 : 1;
                const auto [line, index] = upper == form.by_rows ? std::pair(j, i) : std::pair(i, j);
                entries.emplace_back(line, index, value * share);
            }
        }
        std::ranges::stable_sort(entries, {}, [](auto& entry) { return std::get<0>(entry); });
        ptr.assign(n + 1, form.base);
        for (const auto& [line, index, value] : entries) {
            std::for_each(ptr.begin() + line + 1, ptr.end(), [](auto& position) { ++position; });
            ind.push_back(index + form.base);
            values.push_back(value);
        }
    }
};

TEST(InputMatrix, EveryFormGivesTheSameMatrixAndKnowsItsPatternAgain) {
    Rng rng(test_seed());
    for (int round = 0; round < 3000; ++round) {
        TestContext test;
        Sample a(rng);
        CanonicalPattern made, strict;
        EXPECT_EQ(mf_canonical_pattern(test.context, a.matrix(), true, strict), a.repeats ? DUPLICATE : OK);
        ASSERT_EQ(mf_canonical_pattern(test.context, a.form, false, made), OK) << test.context.reason;
        std::vector<double> values(made.col_ptr[made.n], NAN);
        ASSERT_EQ(mf_canonical_values(test.context, a.form, made, values.data()), OK);
        decltype(a.lower) found;
        for (std::int32_t j = 0; j < made.n; ++j)
            for (std::int32_t k = made.col_ptr[j]; k < made.col_ptr[j + 1]; ++k)
                found.emplace_hint(found.end(), std::pair(j, made.row_ind[k]), values[k]);
        ASSERT_EQ(found, a.lower);
        ASSERT_EQ(found.size(), values.size());

        const int step = round % 2 == 0 ? 1 : -1;
        Stored infinite = a, transposed = a, turned = a, moved = a, shifted = a;
        infinite.values[rng() % a.ind.size()] = step > 0 ? INFINITY : NAN;
        transposed.form.by_rows = !a.form.by_rows;
        turned.form.triangle = Triangle{(static_cast<std::int32_t>(a.form.triangle) + 1) % 3};
        moved.ind[rng() % a.ind.size()] += step;
        shifted.ptr[rng() % a.ptr.size()] += step;
        EXPECT_EQ(mf_canonical_values(test.context, infinite.matrix(), made, values.data()), NAN_VALUE);
        for (Stored* other : {&transposed, &turned, &moved, &shifted})
            EXPECT_EQ(mf_canonical_values(test.context, other->matrix(), made, values.data()), HANDLE);
    }
}

TEST(InputMatrix, TellsWhatIsWrongAndWhere) {
    const InputMatrix both{.n = 2, .triangle = BOTH}, wide{.n = 1, .ptr_bytes = 8};
    const InputMatrix wide_both{.n = 1, .ptr_bytes = 8, .triangle = BOTH};
    const Stored full{both, {0, 2, 4}, {0, 1, 0, 1}}, pair{both, {0, 1, 2}, {1, 0}},
        twice{{.n = 1}, {0, 2}, {0, 0}}, one{{.n = 1}, {0, 1}, {0}};
    const struct {
        Stored analysed, given;
        Status status;
        const char* reason;
    } rows[] = {
        {{{.n = 1, .ptr_bytes = 6}, {0, 1}, {0}}, {}, TYPE, "pointers of 6 bytes"},
        {{{.n = 1, .triangle = Triangle{3}}, {0, 1}, {0}}, {}, TYPE, "triangle 3"},
        {{{.n = 0}, {0}, {0}}, {}, EMPTY_MATRIX, "order of the matrix is 0"},
        {{{.n = INT32_MAX}, {0}, {0}}, {}, FACTOR_STORAGE, "order 2147483647 is"},
        {{{.n = INT32_MAX - 1}, {7}, {0}}, {}, STRUCTURE, "start at 7, not at the base 0"},
        {{{.n = 1, .ptr_bytes = 8, .base = 1, .by_rows = true}, {1, INT64_MIN}, {0}}, {}, STRUCTURE, "row 1"},
        {{{.n = 2}, {0, 0, 0}, {0}}, {}, EMPTY_MATRIX, "no entries"},
        {{wide, {0, (1LL << 30) + 1}, {0}}, {}, FACTOR_STORAGE, "1073741825 entries"},
        {{wide, {0, 1LL << 30}, {0}}, {}, MEMORY, "out of memory"},
        {{wide_both, {0, 1LL << 31}, {0}}, {}, FACTOR_STORAGE, "2147483648 entries"},
        {{wide_both, {0, INT32_MAX}, {0}}, {}, MEMORY, "out of memory"},
        {{{.n = 2}, {0, 1, 3}, {0, 1, -1}}, {}, STRUCTURE, "entry 2 of column 2, row 0, is outside"},
        {{{.n = 2}, {0, 1, 2}, {0, 0}}, {}, STRUCTURE, "entry 1 of column 2, row 1, is in the triangle"},
        {{{.n = 2, .by_rows = true}, {0, 1, 1}, {1}}, {}, STRUCTURE, "entry 1 of row 1, column 2, is in the"},
        {twice, {}, DUPLICATE, "entry 2 of column 1, row 1, is stored twice"},
        {{both, {0, 1, 1}, {1}}, {}, NOT_SYMMETRIC, "only the lower one has the entry at 2, 1"},
        {one, {{.n = 2}, {0, 1, 1}, {0}}, HANDLE, "another pattern"},
        {pair, {both, {0, 2, 2}, {1, 1}}, HANDLE, "entry 2 of column 1, row 2, is of another"},
        {pair, {both, {0, 1, 2}, {1, 0}, {1, 1 + 2e-12}}, NOT_SYMMETRIC, "1 at 2, 1, but 1 at 1, 2"},
        {full, {both, {0, 2, 4}, {0, 1, 0, 1}, {4, 0, 1e-13, 100}}, OK, ""},
        {full, {both, {0, 2, 4}, {0, 1, 0, 1}, {4, 0, 3e-13, 100}}, NOT_SYMMETRIC, "0 at 2, 1, but 3e-13"},
        {twice, {{.n = 1}, {0, 2}, {0, 0}, {1e308, 1e308}}, NAN_VALUE, "at 1, 1 add up beyond"},
    };
    for (auto [analysed, given, status, reason] : rows) {
        TestContext test;
        if (status == MEMORY) test.faults.allocation.set(1, true);
        CanonicalPattern made;
        double values[5];
        Status found = mf_canonical_pattern(test.context, analysed.matrix(), given.ptr.empty(), made);
        if (found == OK) found = mf_canonical_values(test.context, given.matrix(), made, values);
        EXPECT_EQ(found, status) << reason;
        EXPECT_NE(std::string(test.context.reason).find(reason), std::string::npos) << test.context.reason;
    }
}

TEST(InputMatrix, NeedsItsArraysAndCopiesWhatIsCanonical) {
    Stored a{{.n = 2, .triangle = BOTH}, {0, 1, 2}, {1, 0}};
    TestContext test;
    CanonicalPattern made;
    double value = 0;
    EXPECT_EQ(mf_canonical_pattern(test.context, a.matrix(), false, made), OK);
    InputMatrix b = a.form;
    b.values = nullptr;
    EXPECT_EQ(mf_canonical_values(test.context, b, made, &value), NULL_MATRIX);
    b.ind = nullptr;
    EXPECT_EQ(mf_canonical_values(test.context, b, made, &value), NULL_MATRIX);
    (b = a.form).ptr = nullptr;
    EXPECT_EQ(mf_canonical_pattern(test.context, b, false, made), NULL_MATRIX);
    a = {{.n = 2, .base = 1, .triangle = UPPER, .by_rows = true}, {1, 3, 4}, {1, 2, 2}};
    EXPECT_EQ(mf_canonical_pattern(test.context, a.matrix(), true, made = {}), OK);
    EXPECT_FALSE(made.place) << "canonical as it is";
}

} // namespace
} // namespace vyr::test
