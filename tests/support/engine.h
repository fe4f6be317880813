// The engine as a test drives it: a context with its own accounting, faults and captured messages.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/faults.h"
#include "engine/engine.h"
#include "support/matrices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

namespace vyr::test {

inline Pattern pattern_of(const Csc& a) {
    return {a.n, a.colptr.data(), a.rowind.data()};
}

inline Matrix matrix_of(const Csc& a) {
    return {pattern_of(a), a.values.data()};
}

/// Make it before the objects whose memory it counts. Every block must be back when it goes out of scope.
struct TestContext {
    Faults faults;
    Accounting memory;
    Context context{memory};
    std::string text; ///< messages, once context.log.messages is set

    TestContext() {
        memory.faults = &faults;
        context.log = {append, &text, false};
        memory.log = &context.log;
    }
    ~TestContext() {
        EXPECT_EQ(memory.current.load(), 0u);
        EXPECT_EQ(memory.alloc_count.load(), memory.free_count.load());
    }

private:
    static void append(void* text, const char* format, std::va_list arguments) {
        char line[1024];
        std::vsnprintf(line, sizeof line, format, arguments);
        *static_cast<std::string*>(text) += line;
    }
};

/// One matrix through the engine.
struct EngineRun {
    explicit EngineRun(TestContext& test) : context(test.context), factor(test.memory, analysis) {}

    Context& context;
    Analysis analysis;
    Factor factor;

    /// Type, core mode, threads and the rest are those of the context's settings.
    Status analyse(const Csc& a) { return mf_symbol(context, pattern_of(a), analysis, factor); }
    Status factorise(const Csc& a) { return mf_factorise(context, a.values.data(), factor); }
    /// Both: the first status that is not OK, or OK.
    Status run(const Csc& a) {
        const Status status = analyse(a);
        return status == Status::OK ? factorise(a) : status;
    }
    /// The solutions for n x nrhs right-hand sides; the status must be OK.
    std::vector<double> solve(const Csc& a, std::vector<double> b, std::int32_t nrhs = 1) const {
        EXPECT_EQ(mf_solve_system(context, factor, matrix_of(a), b.data(), nrhs, nrhs > 1), Status::OK);
        return b;
    }
};

/// Where entry (i, j) of U, i <= j in pivot order, is stored; null where the structure has none.
inline double* entry_of(const Factor& factor, std::int32_t i, std::int32_t j) {
    const std::int32_t s = factor.analysis->column_map[i];
    const mf_snode& node = factor.analysis->snodes[s];
    const std::int32_t* place = std::lower_bound(node.rows, node.rows + node.n_rows(), j);
    if (place == node.rows + node.n_rows() || *place != j) return nullptr;
    return factor.block(s) + (i - node.first()) + (place - node.rows) * std::int64_t{node.npiv};
}

/// Backward error of a solve with a random right-hand side.
inline double solve_error(const EngineRun& run, const Csc& lower, std::uint64_t seed = 7) {
    const std::vector<double> b = random_vector(lower.n, seed);
    return backward_error(lower, run.solve(lower, b).data(), b.data());
}

} // namespace vyr::test
