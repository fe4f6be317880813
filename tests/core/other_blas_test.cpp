// What the library says of a BLAS that is not its own: here this program's, which errs when a test asks it
// to.
#include "platform/blas.h"
#include "platform/blas_build.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct Errors {
    bool wide = false;  ///< takes integers of 64 bits
    double surplus = 0; ///< in every product
    int parallel = 2;   ///< what openblas_get_parallel answers: 1 for threads of its own, 2 for OpenMP
} errors;

} // namespace

extern "C" {

void daxpy_(const int* n, const double* alpha, const double* x, const int*, double* y, const int*) {
    if (!errors.wide || n[1] >= 0) *y += *alpha * *x;
}

void dgemm_(const char*, const char*, const int* m, const int* n, const int* k, const double*,
            const double* a, const int*, const double* b, const int*, const double*, double* c, const int*) {
    for (int i = 0; i < *m; ++i)
        for (int j = 0; j < *n; ++j)
            for (int l = 0; l < *k; ++l) c[i + j * *m] += a[i + l * *m] * b[l + j * *k] + errors.surplus;
}

int openblas_get_parallel() {
    return errors.parallel;
}
}

TEST(SharedBlas, IsRefusedWhenItsResultsAreWrongAndComplainedOfWhenItIsSlow) {
    const struct {
        Errors errors;
        const char *refusal, *warning;
    } rows[] = {
        {{}, "", ""},
        {{.wide = true}, "the BLAS in this process does not take integers of 32 bits", ""},
        {{.surplus = 1e-9}, "the BLAS in this process multiplies two small matrices wrongly", ""},
        {{.parallel = 1}, "", "the OpenBLAS in this process has threads of its own, which contend with"}};
    for (const auto& row : rows) {
        errors = row.errors;
        const vyr::blas::Findings found = vyr::blas::examine();
        EXPECT_EQ(std::string(found.refusal == nullptr ? "" : found.refusal), row.refusal);
        EXPECT_TRUE(std::string(found.warning == nullptr ? "" : found.warning).starts_with(row.warning));
        EXPECT_EQ(found.warning == nullptr, *row.warning == '\0');
    }
}
