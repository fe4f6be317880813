// The engine as a test drives it: a context with its own accounting, faults and captured messages.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "core/faults.h"
#include "support/matrices.h"

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

    TestContext();
    ~TestContext();
    TestContext(const TestContext&) = delete;
    TestContext& operator=(const TestContext&) = delete;
};

/// One matrix through the engine.
struct EngineRun {
    explicit EngineRun(TestContext& test) : context(test.context), factor(test.memory, analysis) {}

    Context& context;
    Analysis analysis;
    Factor factor;

    /// mf_symbol; type, core mode, threads and the rest are those of the context's settings.
    [[nodiscard]] Status analyse(const Csc& a);
    /// mf_factorise after the analysis.
    [[nodiscard]] Status factorise(const Csc& a);
    /// Both: the first status that is not OK, or OK.
    [[nodiscard]] Status run(const Csc& a);
    /// The solutions for n x nrhs right-hand sides; the status must be OK.
    std::vector<double> solve(const Csc& a, std::vector<double> b, std::int32_t nrhs = 1) const;
};

/// Backward error of a solve with a random right-hand side.
double solve_error(const EngineRun& run, const Csc& lower, std::uint64_t seed = 7);

} // namespace vyr::test
