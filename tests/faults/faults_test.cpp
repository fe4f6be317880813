// Every allocation and every file call of the road behind the library interface fails, alone or with all that
// follow: the solution is right, or the call says what is missing. ./dev faults leaves none out.
#include "engine/solver.h"
#include "support/capture.h"
#include "support/engine.h"

#include <cstdlib>

using namespace vyr;
using namespace vyr::test;

namespace {

struct Road {
    Csc a;
    Kind kind;
    int core_mode;
};

/// Analyses, factorises and solves, all with `faults`. What failed to factorise does so without them.
Status travel(const Road& road, Faults& faults, const std::vector<double>& b, std::vector<double>& x) {
    const bool indefinite = road.kind == Kind::INDEFINITE;
    const Csc a = indefinite ? both_triangles(road.a) : road.a;
    InputMatrix input{.n = a.n, .ptr = a.colptr.data(), .ind = a.rowind.data(), .values = a.values.data()};
    if (indefinite) input.triangle = Triangle::BOTH;
    SolverAnalysis analysis;
    analysis.memory.faults = &faults;
    Context analysing(analysis.memory);
    analysing.settings.n_threads = 2;
    if (indefinite) analysing.settings.ordering = ORDERING_NATURAL; // as it comes, so that pivots are delayed
    if (const Status status = mf_solver_analyse(analysing, input, road.kind, false, analysis);
        status != Status::OK)
        return status;
    SolverFactor factor(analysis);
    factor.memory.faults = &faults;
    Context factorising(factor.memory);
    factorising.settings.n_threads = 2;
    factorising.settings.core_mode = road.core_mode;
    if (const Status status = mf_solver_factorise(factorising, input, factor); status != Status::OK) {
        EXPECT_STRNE(factorising.reason, "");
        faults.allocation.set(0), faults.file_call.set(0);
        EXPECT_EQ(mf_solver_factorise(factorising, input, factor), Status::OK);
        return status;
    }
    Accounting scratch;
    scratch.faults = &faults;
    Context solving(scratch);
    SolveCall call{10, true, 1e-8};
    const Status status = mf_solver_solve(solving, factor, 1, b.data(), a.n, x.data(), a.n, call);
    EXPECT_EQ(scratch.current.load(), 0u);
    return status;
}

/// How far to the next call that fails: 1 when VYR_EVERY_CALL is set.
std::int64_t stride(Rng& rng) {
    return std::getenv("VYR_EVERY_CALL") != nullptr ? 1 : 1 + static_cast<std::int64_t>(rng() % 6);
}

void sweep(const Road& road, Countdown Faults::*calls, bool every_later, Rng& rng) {
    const std::vector<double> b = random_vector(road.a.n, rng());
    bool reached = true;
    for (std::int64_t k = 1; reached && !testing::Test::HasFailure(); k += stride(rng)) {
        SCOPED_TRACE("call " + std::to_string(k) + (every_later ? " and all later ones" : ""));
        Faults faults;
        std::vector<double> x(b.size());
        (faults.*calls).set(k, every_later);
        const Status status = travel(road, faults, b, x);
        // One that fails with all that follow stays armed.
        reached = every_later ? status != Status::OK : !(faults.*calls).armed();
        if (calls == &Faults::file_call && every_later) reached = k < 40;
        EXPECT_TRUE(status == Status::OK || status == Status::MEMORY || status == Status::FACTOR_STORAGE ||
                    status == Status::FACTOR_FILE || status == Status::ORDERING)
            << code(status);
        EXPECT_TRUE(status != Status::OK || backward_error(road.a, x.data(), b.data()) <= 1e-11);
    }
}

} // namespace

TEST(Faults, WhateverAllocationOrFileCallFailsNoSolutionIsWrong) {
    Rng rng(test_seed());
    const TempDirectory directory;
    const Csc positive = spd(60, grid_edges(10, 6), rng());
    Csc indefinite = positive;
    for (std::int32_t j = 0; j < indefinite.n; ++j)
        indefinite.values[indefinite.colptr[j]] *= j % 4 == 0 ? -1 : j % 4 == 1 ? 1e-9 : 0;
    for (const int core_mode : {CORE_IN, CORE_OUT})
        for (const Road& road : {Road{positive, Kind::POSITIVE, core_mode},
                                 {indefinite, Kind::INDEFINITE, core_mode},
                                 {indefinite, Kind::AUTOMATIC, core_mode}})
            for (const bool every_later : {false, true}) {
                sweep(road, &Faults::allocation, every_later, rng);
                if (core_mode == CORE_OUT) sweep(road, &Faults::file_call, every_later, rng);
            }
}
