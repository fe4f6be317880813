/* VYR solver: A x = b for large sparse symmetric A, any number of matrices from any number of threads.
 *
 * Copyright (c) 2026, the VYR authors. Licence: BSD-3-Clause.
 *
 * The phases:
 *
 *     vyr_analyse         a pattern: order, structure, costs
 *     vyr_factor_create   an empty factor of an analysis
 *     vyr_factorise       the values; again and again for new values of the same pattern
 *     vyr_solve           any number of times
 *     vyr_factor_free
 *     vyr_analysis_free
 *
 * An analysis never changes: any number of factors and threads may share it. A factor is changed by
 * vyr_factorise alone; any number of threads may solve with it at the same time. A factor keeps what it needs
 * of its analysis: they may be freed in any order.
 *
 * Every function that can fail returns a vyr_status, 0 or negative; vyr_status_text says what it means, and
 * vyr_analysis_message and vyr_factor_message give one sentence on the last failure of the object at hand.
 * Nothing is printed, nothing calls exit, no signal handler is touched, no environment variable is read.
 *
 * Matrices are not kept: nothing handed in is read after a call returns, except the strings and callbacks of
 * the options, which must stay valid as long as the object. Arrays are written only where this page says out.
 *
 * docs/solver.md is the complete page: options, figures, statuses, method and an example.
 */
#ifndef VYR_SOLVER_H
#define VYR_SOLVER_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(VYR_SOLVER_STATIC)
#define VYR_SOLVER_API
#elif defined(_WIN32) && defined(VYR_SOLVER_BUILDING)
#define VYR_SOLVER_API __declspec(dllexport)
#elif defined(_WIN32)
#define VYR_SOLVER_API __declspec(dllimport)
#elif defined(__GNUC__)
#define VYR_SOLVER_API __attribute__((visibility("default")))
#else
#define VYR_SOLVER_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---------------------------------------------------------------- version and abilities */

#define VYR_SOLVER_VERSION_MAJOR 1
#define VYR_SOLVER_VERSION_MINOR 0

/* Major version * 1000 + minor version of the library in use. Programs run with every library of their major
 * version that is not older than the header they were built with. */
VYR_SOLVER_API int32_t vyr_version(void);

enum {
    VYR_ABILITY_METIS = 1,           /* nested dissection */
    VYR_ABILITY_AMD = 2,             /* approximate minimum degree */
    VYR_ABILITY_INDEFINITE = 4,      /* L D L^T */
    VYR_ABILITY_OUT_OF_CORE = 8,     /* factors in files */
    VYR_ABILITY_CANCEL_ORDERING = 16 /* a cancelled call ends within a nested dissection, not behind it */
};

/* The abilities of the library in use, a sum of VYR_ABILITY_ bits. */
VYR_SOLVER_API int32_t vyr_abilities(void);

/* ---------------------------------------------------------------- statuses */

typedef int32_t vyr_status;

enum {
    VYR_STATUS_OK = 0,
    VYR_STATUS_NULL = -1,      /* an argument that must not be null is */
    VYR_STATUS_EMPTY = -2,     /* n or the number of entries is below 1 */
    VYR_STATUS_DUPLICATE = -4, /* an entry is stored twice, and options.duplicates refuses that */
    VYR_STATUS_FILE = -5,      /* a factor file cannot be written, opened or read in full */
    VYR_STATUS_STRUCTURE = -6, /* malformed pointers, an index out of range, an entry of the wrong triangle */
    VYR_STATUS_NOT_FINITE = -8,      /* a value is infinite or not a number */
    VYR_STATUS_PATTERN = -9,         /* another pattern than the analysed one */
    VYR_STATUS_TOO_LARGE = -10,      /* positions would not fit, or the storage of the factor was refused */
    VYR_STATUS_MEMORY = -29,         /* out of memory */
    VYR_STATUS_NOT_POSITIVE = -30,   /* not positive definite: see failed_equation */
    VYR_STATUS_SINGULAR = -31,       /* no pivot was left for some equation */
    VYR_STATUS_CANCELLED = -40,      /* the progress callback asked for it; nothing is left behind */
    VYR_STATUS_ORDERING = -41,       /* the ordering failed */
    VYR_STATUS_ARGUMENT = -42,       /* an option, a size or a leading dimension out of range */
    VYR_STATUS_NOT_FACTORISED = -43, /* there is no factorization, or the last one failed */
    VYR_STATUS_BUSY = -44,          /* called from a callback of the same object, or while it is factorised */
    VYR_STATUS_NOT_SYMMETRIC = -45, /* both triangles are stored and differ */
    VYR_STATUS_INACCURATE =
        -46, /* the backward error stayed above options.backward_error_limit; x is the best found */
    VYR_STATUS_NOT_KEPT = -47, /* the matrix was not kept (options.keep_matrix), so this cannot be told */
    VYR_STATUS_BLAS = -48      /* the BLAS in this process would give wrong results */
};

/* What a status means, one sentence without a full stop; never null. */
VYR_SOLVER_API const char* vyr_status_text(vyr_status status);

/* ---------------------------------------------------------------- options */

/* What the matrix is. */
enum {
    VYR_KIND_POSITIVE = 0,   /* positive definite: L L^T */
    VYR_KIND_INDEFINITE = 1, /* eigenvalues of both signs, zeros on the diagonal: L D L^T, refined */
    VYR_KIND_AUTOMATIC = 2   /* L L^T, and L D L^T when a pivot fails; the factor's figures tell which */
};

enum {
    VYR_ORDERING_AUTOMATIC = 0, /* AMD, or METIS where the factorization is worth it */
    VYR_ORDERING_METIS = 1,     /* nested dissection */
    VYR_ORDERING_AMD = 2,       /* approximate minimum degree */
    VYR_ORDERING_NATURAL = 3,   /* as given */
    VYR_ORDERING_USER = 4,      /* options.permutation */
    VYR_ORDERING_DISSECTION = 5 /* nested dissection on several threads, the same order with any number */
};

/* Large entries of an indefinite matrix, in pairs of equations that are eliminated together. */
enum {
    VYR_MATCHING_AUTOMATIC = 0, /* where both diagonal entries are weak */
    VYR_MATCHING_ON = 1,        /* wherever the product of the entries chosen gains */
    VYR_MATCHING_OFF = 2
};

/* What an indefinite matrix is scaled by, from both sides, before it is factorised. */
enum {
    VYR_SCALING_AUTOMATIC = 0, /* by the matching; without one, as VYR_SCALING_NORM */
    VYR_SCALING_NONE = 1,
    VYR_SCALING_NORM = 2,    /* every row's largest magnitude near 1 */
    VYR_SCALING_MATCHING = 3 /* by the matching, also where it is off for the ordering */
};

/* What becomes of a column of an indefinite matrix that has no pivot among its neighbours. */
enum {
    VYR_PIVOTING_DELAYED = 0, /* it is passed on, where it meets more of them; the factor grows by it */
    VYR_PIVOTING_STATIC = 1 /* its pivot is replaced, which refinement makes up for; the factor never grows */
};

/* Phases that a progress callback is told of. */
enum { VYR_PHASE_ANALYSE = 0, VYR_PHASE_FACTORISE = 1, VYR_PHASE_SOLVE = 2 };

/* Receives one line of text without a line end. Called on the thread that called the library. */
typedef void (*vyr_log_callback)(void* user, int32_t level, const char* text);

/* Told that `fraction` (0 to 1) of a phase is done, some times a second, on the thread that called the
 * library. Not 0: cancel; the call then returns VYR_STATUS_CANCELLED. */
typedef int32_t (*vyr_progress_callback)(void* user, int32_t phase, double fraction);

/* Choices. Fill with vyr_options_default, then change what matters. Members are only ever appended. */
typedef struct vyr_options {
    size_t size;                /* sizeof(vyr_options) of the program; vyr_options_default sets it */
    int32_t kind;               /* VYR_KIND_; default positive definite */
    int32_t ordering;           /* VYR_ORDERING_; default automatic */
    const int32_t* permutation; /* n, for VYR_ORDERING_USER: the equation eliminated k-th, 0-based */
    int32_t duplicates;         /* 0: entries stored more than once are summed (default); 1: refused */
    int32_t threads;     /* default 0: as many as OpenMP offers, but one inside a parallel region of the host.
                            At most 96 work; one, and the log says why, where the process cannot have more */
    int32_t keep_matrix; /* 1 (default): the factor keeps the values, for refinement and errors */
    int32_t refinements; /* most refinement steps of a solve; default -1: 10 for L D L^T, 0 for L L^T */
    double pivot_min;    /* L L^T: a diagonal of L that is not above this fails; default 0 */
    double backward_error_limit; /* a solve whose backward error stays above it answers VYR_STATUS_INACCURATE;
                                    default 1e-10 for L D L^T; for L L^T the error is computed only where this
                                    is set above 0; default -1 */
    const char* directory; /* not null: out of core, in files of this directory; they go with the factor */
    double memory_limit;   /* out of core: bytes the process may take; default 0: what there is */
    vyr_log_callback log;  /* default null */
    void* log_user;
    vyr_progress_callback progress; /* default null */
    void* progress_user;
    int32_t matching;    /* VYR_MATCHING_, for L D L^T; default automatic */
    int32_t scaling;     /* VYR_SCALING_, for L D L^T; default automatic */
    int32_t pivoting;    /* VYR_PIVOTING_, for L D L^T; default delayed */
    int32_t zero_pivots; /* L D L^T: 0 (default): a matrix singular to working precision is an error; 1: it
                            gets zero pivots, and systems that have solutions are solved */
    double pivot_share;  /* L D L^T: least share of its column that a pivot must have; above 0, at most 0.5,
                            default 0.01. Larger ones bound the growth of errors more and cost more fill */
    double zero_pivot;   /* L D L^T: columns with no entry above this share of the largest entry of the scaled
                            matrix are zero; default 10 times the precision of doubles */
} vyr_options;

/* Fills the defaults. size: sizeof(vyr_options) as the program knows it. */
VYR_SOLVER_API void vyr_options_default(vyr_options* options, size_t size);

/* ---------------------------------------------------------------- the matrix */

enum { VYR_LOWER = 0, VYR_UPPER = 1, VYR_BOTH = 2 };
enum { VYR_COLUMNS = 0, VYR_ROWS = 1 };

/* A symmetric matrix in compressed columns or rows. Entries of a column need no order. Borrowed. */
typedef struct vyr_matrix {
    size_t size;        /* sizeof(vyr_matrix) */
    int64_t n;          /* order */
    const void* ptr;    /* n + 1 positions, of ptr_bytes each; column j holds entries ptr[j] .. ptr[j+1]-1 */
    const int32_t* ind; /* row (or column) indices */
    const double* values; /* as many as indices; may be null for an analysis that needs none */
    int32_t ptr_bytes;    /* 4 or 8 */
    int32_t base;         /* of ptr and ind: 0 or 1 */
    /* VYR_LOWER, VYR_UPPER, or VYR_BOTH, whose halves must agree: to 1e-12 of the larger one and, for what
     * cancellation leaves, 1e-14 of the geometric mean of the largest magnitudes in the two rows */
    int32_t triangle;
    int32_t layout; /* VYR_COLUMNS or VYR_ROWS */
} vyr_matrix;

/* The commonest form: lower triangle by columns, 32-bit pointers, 0-based. */
VYR_SOLVER_API void vyr_matrix_lower(vyr_matrix* matrix, size_t size, int32_t n, const int32_t* ptr,
                                     const int32_t* ind, const double* values);

/* ---------------------------------------------------------------- analysis */

typedef struct vyr_analysis vyr_analysis;

/* What an analysis knows before anything is paid. Set `size` before asking. */
typedef struct vyr_analysis_info {
    size_t size;
    int64_t n;
    int64_t entries;        /* distinct entries of the lower triangle */
    int64_t factor_entries; /* entries of L, the diagonal included */
    double operations;      /* floating-point operations of a factorization */
    double factor_bytes;    /* of the factor in memory */
    double peak_bytes;  /* at the peak of a factorization in core, beside what the process holds already */
    double least_bytes; /* least possible peak of one out of core */
    double seconds_order;
    double seconds_analyse; /* ordering included */
    int64_t supernodes;
    int32_t kind;       /* VYR_KIND_POSITIVE or VYR_KIND_INDEFINITE: what a factor would be */
    int32_t ordering;   /* VYR_ORDERING_ in force */
    int32_t compressed; /* 1: unknowns with one pattern were ordered together */
    int32_t threads;
    int64_t structural_rank; /* most that a matrix with these nonzeros has; -1: no matching was made */
    int64_t pairs;           /* of equations that are eliminated together */
} vyr_analysis_info;

/* Analyses a pattern.
 *
 * matrix     values are read for the indefinite and the automatic kind, for the matching; a factor of other
 *            values of the pattern is right all the same. Null values: nothing is paired
 * options    null: the defaults
 * analysis   out: the object, to be freed. After a failure it holds the message alone, or is null when even
 *            that could not be had
 *
 * Returns OK, NULL, EMPTY, DUPLICATE, STRUCTURE, NOT_FINITE, TOO_LARGE, MEMORY, CANCELLED, ORDERING, ARGUMENT
 * or NOT_SYMMETRIC. Runs on the calling thread. */
VYR_SOLVER_API vyr_status vyr_analyse(const vyr_matrix* matrix, const vyr_options* options,
                                      vyr_analysis** analysis);

/* Null is allowed. Factors made from it stay valid. */
VYR_SOLVER_API void vyr_analysis_free(vyr_analysis* analysis);

VYR_SOLVER_API vyr_status vyr_analysis_get_info(const vyr_analysis* analysis, vyr_analysis_info* info);

/* permutation: n, out: permutation[k] is the equation eliminated k-th, 0-based. */
VYR_SOLVER_API vyr_status vyr_analysis_permutation(const vyr_analysis* analysis, int32_t* permutation);

/* One sentence on the failure; empty when there was none. Valid as long as the object. */
VYR_SOLVER_API const char* vyr_analysis_message(const vyr_analysis* analysis);

/* ---------------------------------------------------------------- factor */

typedef struct vyr_factor vyr_factor;

/* What a factorization found. Set `size` before asking. */
typedef struct vyr_factor_info {
    size_t size;
    vyr_status status; /* of the last factorization; NOT_FACTORISED before the first */
    int32_t kind;      /* VYR_KIND_POSITIVE: L L^T; VYR_KIND_INDEFINITE: L D L^T */
    int32_t threads;
    int32_t reserved;
    const char* kernels; /* of the BLAS, by name, and of our own loops; valid as long as the factor */
    double seconds_factorise;
    double seconds_files; /* spent writing factor files */
    double operations;
    double pivot_smallest; /* in magnitude: diagonal of L, or eigenvalues of the pivots of D */
    double pivot_largest;
    int64_t two_by_two;               /* 2 x 2 pivots */
    int64_t perturbed;                /* pivots that were replaced, by VYR_PIVOTING_STATIC */
    int64_t positive, negative, zero; /* inertia; uncertain where pivots were replaced */
    int64_t failed_equation;          /* 1-based, caller's numbering; 0: none. The first in the order of
                                         elimination, on any number of threads */
    double failed_pivot;
    int64_t files;
    double file_bytes;
    double factor_bytes;     /* held in memory now */
    int64_t structural_rank; /* of the values, where their scaling was chosen by a matching; otherwise -1 */
    int64_t rank;            /* to working precision: n less the zero pivots; -1: not known */
    int64_t delayed;         /* columns passed on, once for each time */
} vyr_factor_info;

/* An empty factor.
 *
 * options   threads, refinements, limits, directory and callbacks in force for it; null: those of the
 *           analysis. Kind and ordering are the analysis's in any case. For a factor out of core give
 * directory and memory limit to the analysis, too
 *
 * Returns OK, NULL, MEMORY, ARGUMENT or what the analysis failed with. */
VYR_SOLVER_API vyr_status vyr_factor_create(const vyr_analysis* analysis, const vyr_options* options,
                                            vyr_factor** factor);

/* Factorises, in place of any earlier factorization. After a failure solves answer NOT_FACTORISED until one
 * succeeds.
 *
 * matrix   the analysed pattern in the same form; another pattern is refused, also one of the same size
 *
 * Returns OK, NULL, STRUCTURE, PATTERN, NOT_FINITE, NOT_SYMMETRIC, NOT_POSITIVE, SINGULAR, TOO_LARGE, MEMORY,
 * FILE, CANCELLED, BUSY or BLAS. */
VYR_SOLVER_API vyr_status vyr_factorise(vyr_factor* factor, const vyr_matrix* matrix);

/* Null is allowed. Removes the factor's files. */
VYR_SOLVER_API void vyr_factor_free(vyr_factor* factor);

VYR_SOLVER_API vyr_status vyr_factor_get_info(const vyr_factor* factor, vyr_factor_info* info);

/* One sentence on the last failure of the factorization; empty when it succeeded. Valid until the next
 * factorization. */
VYR_SOLVER_API const char* vyr_factor_message(const vyr_factor* factor);

/* ---------------------------------------------------------------- solving */

/* What a solve found. Set `size` before; members are computed only where a pointer to it is given. */
typedef struct vyr_solve_info {
    size_t size;
    double backward_error; /* max |b - A x| / (|A| max |x| + max |b|), the largest over all columns */
    double forward_error;  /* bound on max |x - x*| / max |x|: backward error times condition, where that is
                              known; -1 */
    int32_t refinements;   /* steps that improved the solutions */
    int32_t reserved;
    double seconds;
} vyr_solve_info;

/* Solves A X = B.
 *
 * nrhs      right-hand sides, at least 1
 * b, ldb    n x nrhs, column-major; ldb >= n
 * x, ldx    n x nrhs, out; may be b itself with ldx = ldb, otherwise apart from it
 * info      null: not asked for
 *
 * Returns OK, NULL, ARGUMENT, NOT_FACTORISED, BUSY, MEMORY, FILE, CANCELLED, NOT_FINITE (b), or INACCURATE: x
 * is then the best solution found. */
VYR_SOLVER_API vyr_status vyr_solve(const vyr_factor* factor, int32_t nrhs, const double* b, int64_t ldb,
                                    double* x, int64_t ldx, vyr_solve_info* info);

/* Parts of the factorization P A P^T = L L^T or L D L^T (D block diagonal, L unit lower with the interchanges
 * of its pivots). */
enum {
    VYR_PART_P = 0,   /* x := P x: into the order of elimination */
    VYR_PART_L = 1,   /* x := L^-1 x */
    VYR_PART_D = 2,   /* x := D^-1 x; L L^T: unchanged */
    VYR_PART_LT = 3,  /* x := L^-T x */
    VYR_PART_PT = 4,  /* x := P^T x: back into the caller's order */
    VYR_PART_PL = 5,  /* P, then L */
    VYR_PART_LTPT = 6 /* L^T, then P^T */
};

/* Applies one part to n x nrhs columns in place. Returns as vyr_solve. */
VYR_SOLVER_API vyr_status vyr_solve_part(const vyr_factor* factor, int32_t part, int32_t nrhs, double* x,
                                         int64_t ldx);

/* Estimate of the 1-norm condition number of A; with `equilibrated` of S A S, S chosen such that every row's
 * largest magnitude is near 1. A few solves. Returns OK, NOT_KEPT, or as vyr_solve. */
VYR_SOLVER_API vyr_status vyr_condition(const vyr_factor* factor, int32_t equilibrated, double* condition);

/* log |det A| and its sign (-1, 0, 1). */
VYR_SOLVER_API vyr_status vyr_log_determinant(const vyr_factor* factor, double* logarithm, int32_t* sign);

/* The diagonal of L (L L^T) or of D (L D L^T), n, in the order of elimination; beside: n, out, or null: entry
 * k couples k and k + 1 in a 2 x 2 pivot, 0 elsewhere. */
VYR_SOLVER_API vyr_status vyr_factor_diagonal(const vyr_factor* factor, double* diagonal, double* beside);

/* Pivots by equation, caller's numbering, n, out: the diagonal of L, or the entry of D; of the pivot that
 * stopped an L L^T, the value before its root; not a number where none was computed. Also after
 * VYR_STATUS_NOT_POSITIVE, to find what a model does not hold; after other failures NOT_FACTORISED. */
VYR_SOLVER_API vyr_status vyr_factor_pivots(const vyr_factor* factor, double* pivots);

/* The whole factor L by columns, in the order of elimination, rows ascending; unit diagonal entries stored.
 *
 * ptr          n + 1, out
 * ind, values  as many as L has entries with its supernodes' explicit zeros, ptr[n]; null: only ptr is filled
 * order        n, out: order[k] is the equation eliminated k-th, interchanges included; null: not wanted
 *
 * L L^T: A[order, order] = L L^T; L D L^T: A[order, order] = L D L^T. */
VYR_SOLVER_API vyr_status vyr_factor_columns(const vyr_factor* factor, int64_t* ptr, int32_t* ind,
                                             double* values, int32_t* order);

#ifdef __cplusplus
}
#endif

#endif
