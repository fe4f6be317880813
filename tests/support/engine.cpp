#include "support/engine.h"

#include "engine/engine.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace vyr::test {

namespace {

void append(void* text, const char* format, std::va_list arguments) {
    char line[1024];
    std::vsnprintf(line, sizeof line, format, arguments);
    *static_cast<std::string*>(text) += line;
}

} // namespace

TestContext::TestContext() {
    memory.faults = &faults;
    context.log = {append, &text, false};
    memory.log = &context.log;
}

TestContext::~TestContext() {
    EXPECT_EQ(memory.current.load(), 0u);
    EXPECT_EQ(memory.alloc_count.load(), memory.free_count.load());
}

Status EngineRun::analyse(const Csc& a) {
    return mf_symbol(context, pattern_of(a), analysis, factor);
}

Status EngineRun::factorise(const Csc& a) {
    return mf_factorise(context, a.values.data(), factor);
}

Status EngineRun::run(const Csc& a) {
    const Status status = analyse(a);
    return status == Status::OK ? factorise(a) : status;
}

std::vector<double> EngineRun::solve(const Csc& a, std::vector<double> b, std::int32_t nrhs) const {
    EXPECT_EQ(mf_solve_system(context, factor, matrix_of(a), b.data(), nrhs, nrhs > 1), Status::OK);
    return b;
}

double solve_error(const EngineRun& run, const Csc& lower, std::uint64_t seed) {
    const std::vector<double> b = random_vector(lower.n, seed);
    return backward_error(lower, run.solve(lower, b).data(), b.data());
}

} // namespace vyr::test
