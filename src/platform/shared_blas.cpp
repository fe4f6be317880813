#include "platform/blas_build.h"

#include "platform/blas.h"

#include <cstring>

// Other builds of BLAS do not have these.
extern "C" [[gnu::weak]] char* openblas_get_corename(void);
extern "C" [[gnu::weak]] int openblas_get_parallel(void);

namespace vyr::blas {

namespace {

constexpr int PARALLEL_BY_PTHREADS = 1; ///< answer of openblas_get_parallel

/// True when the BLAS takes integers of 32 bits. One that reads 64 finds a negative length behind the address
/// of this 1, and leaves y alone without a word.
bool takes_our_integers() noexcept {
    const Int count[2] = {1, -1}, step[2] = {1, 0};
    const double alpha = 2, x = 3;
    double y = 4;
    daxpy_(count, &alpha, &x, step, &y, step);
    return y == 10;
}

bool multiplies_right() noexcept {
    const double a[] = {1, 3, 2, 4}, b[] = {5, 7, 6, 8};
    double c[] = {1, 1, 1, 1};
    gemm('N', 'N', 2, 2, 2, 1.0, a, 2, b, 2, 1.0, c, 2);
    return c[0] == 20 && c[1] == 44 && c[2] == 23 && c[3] == 51;
}

} // namespace

Findings examine() noexcept {
    Findings found;
    if (!takes_our_integers())
        found.refusal = "the BLAS in this process does not take integers of 32 bits";
    else if (!multiplies_right())
        found.refusal = "the BLAS in this process multiplies two small matrices wrongly";
    if (openblas_get_parallel != nullptr && openblas_get_parallel() == PARALLEL_BY_PTHREADS)
        found.warning = "the OpenBLAS in this process has threads of its own, which contend with OpenMP's";
    return found;
}

const char* kernels_text() noexcept {
    return openblas_get_corename != nullptr ? openblas_get_corename() : "unknown";
}

} // namespace vyr::blas
