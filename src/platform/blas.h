// The crossing to BLAS and LAPACK: prototypes in the reference convention and wrappers that take values.
//
// Matrices are column-major. Dimensions and leading dimensions are BLAS integers (32-bit); the offsets inside
// a matrix are formed by the library in 64 bits. Called from inside a parallel region the OpenMP build runs
// on the calling thread alone.
#pragma once

#include <cstdint>

extern "C" {
using vyr_blas_int = std::int32_t;
void dsyrk_(const char* uplo, const char* trans, const vyr_blas_int* n, const vyr_blas_int* k,
            const double* alpha, const double* a, const vyr_blas_int* lda, const double* beta, double* c,
            const vyr_blas_int* ldc);
void dgemm_(const char* transa, const char* transb, const vyr_blas_int* m, const vyr_blas_int* n,
            const vyr_blas_int* k, const double* alpha, const double* a, const vyr_blas_int* lda,
            const double* b, const vyr_blas_int* ldb, const double* beta, double* c, const vyr_blas_int* ldc);
void dgemv_(const char* trans, const vyr_blas_int* m, const vyr_blas_int* n, const double* alpha,
            const double* a, const vyr_blas_int* lda, const double* x, const vyr_blas_int* incx,
            const double* beta, double* y, const vyr_blas_int* incy);
void dtrsv_(const char* uplo, const char* trans, const char* diag, const vyr_blas_int* n, const double* a,
            const vyr_blas_int* lda, double* x, const vyr_blas_int* incx);
void dswap_(const vyr_blas_int* n, double* x, const vyr_blas_int* incx, double* y, const vyr_blas_int* incy);
void daxpy_(const vyr_blas_int* n, const double* alpha, const double* x, const vyr_blas_int* incx, double* y,
            const vyr_blas_int* incy);
}

namespace vyr::blas {

using Int = vyr_blas_int;

inline void syrk(char uplo, char trans, Int n, Int k, double alpha, const double* a, Int lda, double beta,
                 double* c, Int ldc) noexcept {
    dsyrk_(&uplo, &trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc);
}

inline void gemm(char transa, char transb, Int m, Int n, Int k, double alpha, const double* a, Int lda,
                 const double* b, Int ldb, double beta, double* c, Int ldc) noexcept {
    dgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc);
}

inline void gemv(char trans, Int m, Int n, double alpha, const double* a, Int lda, const double* x, Int incx,
                 double beta, double* y, Int incy) noexcept {
    dgemv_(&trans, &m, &n, &alpha, a, &lda, x, &incx, &beta, y, &incy);
}

inline void trsv(char uplo, char trans, char diag, Int n, const double* a, Int lda, double* x,
                 Int incx) noexcept {
    dtrsv_(&uplo, &trans, &diag, &n, a, &lda, x, &incx);
}

inline void swap(Int n, double* x, Int incx, double* y, Int incy) noexcept {
    dswap_(&n, x, &incx, y, &incy);
}

inline void axpy(Int n, double alpha, const double* x, Int incx, double* y, Int incy) noexcept {
    daxpy_(&n, &alpha, x, &incx, y, &incy);
}

} // namespace vyr::blas
