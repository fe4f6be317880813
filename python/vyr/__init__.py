"""VYR: direct solution of large sparse symmetric systems A x = b.

    x = vyr.solve(A, b)              # once
    f = vyr.factorize(A)             # many right-hand sides: f.solve(b)
    a = vyr.analyze(A)               # many matrices of one pattern: a.factorize(values)

A is any scipy.sparse matrix with both triangles, or with lower=True its lower triangle.
"""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray
from scipy import sparse

from . import errors as errors
from ._analysis import Analysis
from ._factor import Factor, Inertia
from ._info import AnalysisInfo, FactorInfo, SolveInfo
from ._versions import __version__, show_versions
from .errors import (
    BusyError,
    CancelledError,
    ConversionWarning,
    FactorFileError,
    InaccurateError,
    InputError,
    NotFactorizedError,
    NotFiniteError,
    NotPositiveDefiniteError,
    NotSymmetricError,
    OrderingError,
    OutOfMemory,
    PatternError,
    SingularError,
    VyrError,
)

TOLERANCE = 1e-10


def analyze(A: Any, *, lower: bool = False, tolerance: float | None = TOLERANCE, **options: Any) -> Analysis:
    """Orders a matrix and finds the structure of its factor. Nothing is factorised.

    lower        True: only the lower triangle of A is read. False: A has both triangles, which agree
    tolerance    of the largest difference between A and its transpose, relative to the largest entry; None:
                 not checked, the lower triangle counts
    kind         "auto" (default): L·Lᵀ, and L·D·Lᵀ when a pivot fails; "spd": L·Lᵀ; "indefinite": L·D·Lᵀ
    ordering     "auto", "metis", "dissection" (its like on several threads), "amd", "natural", or a permutation:
                 the equation to be eliminated k-th
    threads      None: as many as OpenMP offers
    directory    keep the factor in files there; memory_limit: bytes the process may take then
    refinements  most refinement steps of a solve; None: 10 for L·D·Lᵀ, 0 for L·Lᵀ
    backward_error_limit   of a solve, above which it raises InaccurateError; None: 1e-10 for L·D·Lᵀ
    pivot_min    L·Lᵀ: a diagonal of L that is not above this fails
    keep_matrix  False: the values are not kept, so there is neither refinement nor condition()
    matching     L·D·Lᵀ: pairs of equations that are eliminated together: "auto", "on", "off"
    scaling      L·D·Lᵀ: "auto" (by the matching), "none", "norm", "matching"
    pivoting     L·D·Lᵀ: "delayed": a column without a pivot is passed on; "static": its pivot is replaced, which
                 refinement makes up for, and the factor takes no more memory than foretold
    zero_pivots  L·D·Lᵀ: True: a singular matrix gets zero pivots, and systems that have solutions are solved
    pivot_share  L·D·Lᵀ: least share of its column that a pivot has, at most 0.5; None: 0.01
    zero_pivot   L·D·Lᵀ: columns with no entry above this share of the largest entry of the scaled matrix are
                 zero; None: 10 times the precision of doubles
    progress     called with a phase ("analyse", "factorise", "solve") and the fraction done; a true answer
                 ends the call with CancelledError, an exception ends it, too
    log          called with one line of text
    """
    return Analysis(A, lower=lower, tolerance=tolerance, **options)


def factorize(A: Any, **options: Any) -> Factor:
    """Factorises a matrix. Options are those of `analyze`."""
    return analyze(A, **options).factorize()


def solve(A: Any, b: ArrayLike, **options: Any) -> NDArray[np.float64]:
    """Solves A x = b, b of n or n x k. Options are those of `analyze`."""
    factor = factorize(A, **options)
    with factor:
        return factor.solve(b)


def spsolve(A: Any, b: Any, permc_spec: Any = None, use_umfpack: bool = True, **options: Any) -> Any:
    """In the place of scipy.sparse.linalg.spsolve: b may be sparse, and a single column gives a vector.

    permc_spec and use_umfpack are taken and not used. Options are those of `analyze`.
    """
    dense = b.toarray() if sparse.issparse(b) else np.asarray(b)
    if dense.ndim == 2 and dense.shape[1] == 1:
        return solve(A, dense[:, 0], **options)
    x = solve(A, dense, **options)
    return type(b)(x) if sparse.issparse(b) else x


__all__ = [
    "Analysis",
    "AnalysisInfo",
    "BusyError",
    "CancelledError",
    "ConversionWarning",
    "Factor",
    "FactorFileError",
    "FactorInfo",
    "InaccurateError",
    "Inertia",
    "InputError",
    "NotFactorizedError",
    "NotFiniteError",
    "NotPositiveDefiniteError",
    "NotSymmetricError",
    "OrderingError",
    "OutOfMemory",
    "PatternError",
    "SingularError",
    "SolveInfo",
    "VyrError",
    "__version__",
    "analyze",
    "factorize",
    "show_versions",
    "solve",
    "spsolve",
]
