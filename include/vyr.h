/* VYR 2.2: sparse direct solver for large symmetric linear systems A x = b.
 *
 * Copyright (c) 2026, the VYR authors. Licence: BSD-3-Clause.
 *
 * The road of one matrix:
 *
 *     VYR_init_ld -> VYR_symbol_ld -> VYR_numeric_ld -> VYR_solve_ld (any number of times) -> VYR_clear_ld
 *
 * VYR_numeric_ld may be repeated with new values of the same pattern; VYR_param_ld may change pivot and
 * refinement settings between the steps; VYR_pivot_ld reports the pivots after a factorization; mf_dump_ld
 * writes the body of the statistics report.
 *
 * Matrices are square of order n, by columns, with 0-based 32-bit indices:
 *     colPtr   n + 1 ints; column j holds the entries colPtr[j] .. colPtr[j+1] - 1; colPtr[n] = nnz
 *     rowInd   nnz ints, row indices, ascending within a column
 *     values   nnz doubles
 * For the matrix types 11, 12 and 13 only the lower triangle is stored (row >= column).
 *
 * The library keeps process-wide settings and serves one matrix at a time: call it from one host thread. It
 * starts OpenMP threads of its own; their number is the one OpenMP reports at VYR_symbol_ld. It reads no
 * environment variable, file or registry key, and leaves signal handlers and the C library's rand() alone.
 *
 * Arrays stay the caller's: nothing handed in is kept after a call returns, except the address of `param`,
 * which must stay valid from VYR_init_ld until VYR_clear_ld or the next VYR_init_ld is called. Only a failing
 * VYR_symbol_ld writes to it. Nothing but `b`, `pivots`, `marks` and param[0] is written.
 *
 * A handle that was released, or never was one, is noticed: VYR_numeric_ld answers VYR_ERR_HANDLE, the other
 * functions do nothing. A later VYR_symbol_ld may hand out the same address again, for another matrix.
 */
#ifndef VYR_H
#define VYR_H

#include <stdio.h>

#if defined(_WIN32) && defined(VYR_STATIC)
#define VYR_API
#elif defined(_WIN32) && defined(VYR_BUILDING)
#define VYR_API __declspec(dllexport)
#elif defined(_WIN32)
#define VYR_API __declspec(dllimport)
#elif defined(__GNUC__)
#define VYR_API __attribute__((visibility("default")))
#else
#define VYR_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Version of this header, and of the library it belongs to. */
#define VYR_VERSION_MAJOR 2
#define VYR_VERSION_MINOR 2

/* One analysed (and possibly factorised) matrix. Created by VYR_symbol_ld, destroyed by VYR_clear_ld. */
typedef struct mf_solver* VYR_handle;

/* Elements of the caller's `param` array. It has VYR_PARAM_COUNT doubles; zeros are good defaults. */
enum {
    VYR_PARAM_STATUS = 0,     /* out: status, written by VYR_symbol_ld when it fails */
    VYR_PARAM_FLAGS = 5,      /* low byte not 0: messages and report body on; plus the VYR_FLAG_ bits below */
    VYR_PARAM_CORE_MODE = 20, /* 4 or 5 ask for an accelerator, which VYR_symbol_ld turns back to in-core */
    VYR_PARAM_PIVOT_MIN = 23, /* smallest acceptable pivot: a pivot <= this one fails with -35 */
    VYR_PARAM_GROWTH = 24,    /* largest allowed ratio of largest to smallest pivot; off when <= 1 */
    VYR_PARAM_BLOCKED = 25,   /* 1: compress the graph before ordering, pass updates ancestor by ancestor */
    VYR_PARAM_COUNT = 26
};

/* Bits of param[VYR_PARAM_FLAGS] above the low byte. */
enum {
    VYR_FLAG_REPORT_AT_CLEAR = 0x10000, /* VYR_clear_ld writes the statistics report */
    VYR_FLAG_CHECK_VALUES = 0x20000     /* the factorization checks the values it starts from */
};

/* Matrix types for VYR_init_ld. VYR_symbol_ld always puts VYR_TYPE_SPD in force (see there). */
enum {
    VYR_TYPE_BOTH_TRIANGLES = 2, /* input that may store both triangles */
    VYR_TYPE_SIMPLE = 10,        /* not served: VYR_numeric_ld answers VYR_ERR_TYPE */
    VYR_TYPE_SPD = 11,           /* symmetric positive definite, lower triangle: L L^T */
    VYR_TYPE_INDEFINITE = 12,    /* symmetric indefinite, lower triangle: L D L^T */
    VYR_TYPE_COMPLEX = 13        /* changed to 12 with a warning */
};

/* Status codes. 0 is success, every failure is negative. Internal ones never reach a host. */
enum {
    VYR_OK = 0,
    VYR_ERR_NULL_MATRIX = -1,       /* colPtr or rowInd is null */
    VYR_ERR_EMPTY_MATRIX = -2,      /* order, column count or nnz below 1 */
    VYR_ERR_EMPTY_COLUMN = -3,      /* a column without entries, types other than 11 to 13 */
    VYR_ERR_DUPLICATE = -4,         /* an entry is stored twice */
    VYR_ERR_FACTOR_FILE = -5,       /* a factor file cannot be opened, read or written in full (internal) */
    VYR_ERR_STRUCTURE = -6,         /* malformed pointers, or a row index outside 0 .. n-1 */
    VYR_ERR_NOT_SQUARE = -7,        /* nRows differs from nCols */
    VYR_ERR_NAN = -8,               /* a value is not a number */
    VYR_ERR_HANDLE = -9,            /* the handle is null, released, or belongs to another pattern */
    VYR_ERR_FACTOR_STORAGE = -10,   /* the factor storage was refused or could not be allocated */
    VYR_ERR_TYPE = -11,             /* the matrix type in force is not served */
    VYR_ERR_UPPER_ENTRY = -13,      /* an entry above the diagonal, types 11 to 13 */
    VYR_ERR_SINGULAR = -20,         /* singular matrix (reserved) */
    VYR_ERR_MEMORY = -29,           /* out of memory in the factorization or a solve */
    VYR_ERR_NOT_SPD = -30,          /* not positive definite */
    VYR_ERR_ILL_CONDITIONED = -31,  /* no pivot could be found inside a node (L D L^T) */
    VYR_ERR_BUFFER = -33,           /* too little memory for the out-of-core buffer */
    VYR_ERR_NOTHING_TO_FLUSH = -34, /* nothing left to write, or all 101 factor files used (internal) */
    VYR_ERR_SMALL_PIVOT = -35,      /* a pivot <= param[23]; VYR_pivot_ld marks it */
    VYR_ERR_GROWTH = -36,       /* pivots spread over more than param[24]; VYR_pivot_ld marks the extremes */
    VYR_ERR_ORDERING = -41,     /* the ordering failed */
    VYR_ERR_BLAS = -48,         /* the BLAS in this process would give wrong results */
    VYR_ERR_PLATFORM = -500,    /* operating-system major version below 4 */
    VYR_ERR_EMPTY_FILE = -1000, /* the last factor file stayed empty (internal) */
    VYR_ERR_MAPPING = -1210     /* the mapped factor store could not be created */
};

/* Starts work on a matrix: resets settings and statistics, copies `param`, checks the structure.
 *
 * nRows, nCols   order of the matrix, equal
 * colPtr         nCols + 1 ints; rowInd: colPtr[nCols] ints
 * values         not read
 * matrixType     a VYR_TYPE_ value
 * param          VYR_PARAM_COUNT doubles, or null for all zeros; see above how long it must stay valid
 *
 * Returns 0, -1, -2, -3, -4, -6, -7, -11 (no VYR_TYPE_ value, nor 14), -13, -29 (no memory for the symmetry
 * measure of types that store both triangles) or -500. Of entries stored twice only neighbours are found
 * here, the others by VYR_symbol_ld. Messages go to standard output when the low byte of param[5] is not 0.
 * Cost: one pass over the pattern.
 *
 * Calling it again on a live handle is legal: it puts another type or other flags in force for the next
 * VYR_numeric_ld. That is the road to L D L^T: VYR_init_ld, VYR_symbol_ld, VYR_init_ld with
 * VYR_TYPE_INDEFINITE on the same matrix, VYR_numeric_ld, VYR_solve_ld. It is also the road to messages
 * and the report after the analysis has silenced them. A core mode of 4 or 5 given in that second call stays
 * in force, since only VYR_symbol_ld turns it back: the factor is in memory all the same, but the mode
 * chooses the kernels (L D L^T: the variant that adds its update in one piece, and the solve that can also
 * read factor files). */
VYR_API int VYR_init_ld(int nRows, int nCols, const int* colPtr, const int* rowInd, const double* values,
                        int matrixType, double* param);

/* Copies param[23], param[24] and param[25] into the settings in force and sets the refinement limit to 1.
 * A null `param` changes nothing. Always returns 0. */
VYR_API int VYR_param_ld(const double* param);

/* Orders and analyses the pattern and reserves the factor storage.
 *
 * reserved         not read
 * n, colPtr, rowInd   the matrix of VYR_init_ld
 *
 * Returns the handle, owned by the caller until VYR_clear_ld; or null, and then the status is in param[0]
 * (-1, -2, -4, -6, -10, -41, a status an earlier step left behind, or 0 when there was no memory for the very
 * first work arrays) and a report file has been written to the current directory. Turns messages off and puts
 * VYR_TYPE_SPD in force. -4: a column stores a row twice, neighbours or not; an entry above the diagonal and
 * its mirror image are no such pair. The ordering is nested dissection by METIS. Not thread-parallel. */
VYR_API VYR_handle VYR_symbol_ld(void* reserved, int n, const int* colPtr, const int* rowInd);

/* Factorises. May be repeated with new values of the same pattern.
 *
 * reserved   not read
 * n, colPtr, rowInd   the matrix of VYR_symbol_ld; values: colPtr[n] doubles
 * h          the handle
 *
 * Returns 0, -1, -2, -6, -8, -9, -10, -11, -29, -30, -31, -33, -35, -36, -48 or -1210. After a failure the
 * handle stays valid for VYR_pivot_ld, another VYR_numeric_ld and VYR_clear_ld; solves leave their vector
 * alone. -9: the pattern differs from the analysed one in any entry or in their order. An infinite value
 * draws a warning when messages are on, and then the factorization fails, with -31 when no pivot shows it.
 *
 * With param[24] > 1 every repetition compares its pivots with the largest one of the factorization before,
 * too; VYR_init_ld starts afresh. L L^T runs on the OpenMP threads that were available at VYR_symbol_ld; L D
 * L^T on the calling thread, whose large matrix products may use as many as OpenMP offers it at this call. */
VYR_API int VYR_numeric_ld(void* reserved, int n, const int* colPtr, const int* rowInd, const double* values,
                           VYR_handle h);

/* Solves A x = b for one right-hand side: b holds n doubles, the right-hand side on entry, the solution on
 * return. The matrix is read only for iterative refinement. The second argument is not read. Always returns
 * 0: check the status of VYR_numeric_ld. b is left unchanged without memory for the work space, before the
 * first VYR_numeric_ld and after a failed one, and when another type is in force than at VYR_numeric_ld. A b
 * with infinities or NaNs is not looked for: they spread into x. */
VYR_API int VYR_solve_ld(VYR_handle h, void* reserved, int n, const int* colPtr, const int* rowInd,
                         const double* values, double* b);

/* Solves for nRhs right-hand sides: B is n x nRhs doubles, column-major, leading dimension n, overwritten
 * with the solutions. Otherwise as VYR_solve_ld. nRhs below 1 does nothing. With a refinement limit above 1,
 * for L D L^T, and out of core or with core mode 4 or 5 in force, only the first column is solved. */
VYR_API int VYR_solve_N_ld(VYR_handle h, void* reserved, int n, const int* colPtr, const int* rowInd,
                           const double* values, double* B, int nRhs);

/* Pivots of the last factorization in the caller's numbering.
 *
 * pivots   n doubles, out: the diagonal of the factor; -DBL_MAX where none was computed
 * marks    n ints, out: 0; -1 where no pivot was computed; 1 at the pivots that explain a status of -35
 *          (all those <= param[23]) or -36 (the smallest and the largest in magnitude)
 *
 * Always returns 0. After L D L^T every entry is -DBL_MAX and every mark -1. */
VYR_API int VYR_pivot_ld(VYR_handle h, double* pivots, int* marks);

/* Releases the handle and everything it owns; writes the statistics report first when
 * VYR_FLAG_REPORT_AT_CLEAR is in force. A null handle is allowed. Always returns 0. */
VYR_API int VYR_clear_ld(VYR_handle h);

/* Writes the body of the statistics report into an open text file; nothing when the low byte of the flags in
 * force is 0. title may be null; it is written as it stands, so XML's special characters must be escaped. The
 * file must come from the same C run time as the library's. */
VYR_API void mf_dump_ld(FILE* file, const char* title);

#ifdef __cplusplus
}
#endif

#endif
