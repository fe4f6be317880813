"""From whatever holds a symmetric matrix to the lower triangle by columns, which the library takes."""

from __future__ import annotations

import dataclasses
import sys
import warnings
from typing import Any

import numpy as np
from numpy.typing import NDArray
from scipy import sparse

from ._library import Matrix, address
from .errors import ConversionWarning, InputError, NotFiniteError, NotSymmetricError

_TOLD: set[str] = set()  # types whose conversion has been told


@dataclasses.dataclass(frozen=True)
class LowerTriangle:
    """The lower triangle by columns: n + 1 pointers of 4 or 8 bytes, 32-bit rows, values, all contiguous.

    Entries of a column may stand in any order, and more than once.
    """

    ptr: NDArray[Any]
    ind: NDArray[np.int32]
    values: NDArray[np.float64]

    @property
    def n(self) -> int:
        return len(self.ptr) - 1

    def view(self) -> Matrix:
        """As the library sees it; valid as long as this object."""
        matrix = Matrix()
        matrix.n = self.n
        matrix.ptr, matrix.ind, matrix.values = address(self.ptr), address(self.ind), address(self.values)
        matrix.ptr_bytes = self.ptr.itemsize
        return matrix


def _callers_level() -> int:
    """The stack level, for a warning of the function that asks, of the first caller outside this package."""
    level = 1
    while sys._getframe(level).f_globals.get("__package__") == __package__:
        level += 1
    return level


def as_float64(array: NDArray[Any], what: str) -> NDArray[np.float64]:
    """The array itself, or a copy in float64. Says so once for each type."""
    if array.dtype.kind not in "fiu":
        kind = {"c": "complex", "b": "bool"}.get(array.dtype.kind, str(array.dtype))
        raise TypeError(f"{what} is {kind}; VYR solves real systems")
    if array.dtype == np.float64 and array.dtype.isnative:
        return array
    if str(array.dtype) not in _TOLD:
        _TOLD.add(str(array.dtype))
        warnings.warn(
            f"values of type {array.dtype} are converted to float64, in which VYR computes (said once)",
            ConversionWarning,
            stacklevel=_callers_level(),
        )
    return array.astype(np.float64)


def compressed(a: Any) -> Any:
    """A square real matrix in csc or csr form, uncopied where it has one of them."""
    if not sparse.issparse(a):
        a = np.asarray(a)
    if a.ndim != 2 or a.shape[0] != a.shape[1]:
        raise InputError(f"a symmetric matrix is square; this one has the shape {a.shape}")
    if a.dtype.kind in "bc":
        as_float64(np.empty(0, a.dtype), "the matrix")
    if a.shape[0] == 0 or a.shape[0] > np.iinfo(np.int32).max:
        raise InputError(f"a matrix of order {a.shape[0]} cannot be solved; 1 to 2147483647 is possible")
    if not sparse.issparse(a):
        return sparse.csc_matrix(a)
    return a if a.format in ("csc", "csr") else a.tocsc()


def lower_triangle(a: Any, lower: bool, tolerance: float | None) -> LowerTriangle:
    """The lower triangle of a matrix; what stands above the diagonal is left out.

    lower      True: only the lower triangle counts. False: both are stored and must agree
    tolerance  of the largest difference between A and its transpose, relative to A's largest entry; None:
               not checked
    """
    a = compressed(a)
    if lower and a.format == "csr":
        a = a.tocsc()
    values = as_float64(a.data, "the matrix")
    if not lower and tolerance is not None:
        _check_symmetric(a, values, tolerance)
    # Where A equals its transpose, the upper triangle by rows is the lower one by columns.
    n = a.shape[0]
    column = np.repeat(np.arange(n, dtype=a.indices.dtype), np.diff(a.indptr))
    kept = a.indices >= column
    ptr, ind = a.indptr, a.indices
    if not kept.all():
        ptr = np.zeros(n + 1, dtype=np.int64)
        np.cumsum(np.bincount(column[kept], minlength=n), out=ptr[1:])
        ind, values = ind[kept], values[kept]
    if ptr.dtype not in (np.int32, np.int64):
        ptr = ptr.astype(np.int64)
    return LowerTriangle(
        np.ascontiguousarray(ptr), np.ascontiguousarray(ind, dtype=np.int32), np.ascontiguousarray(values)
    )


def _check_symmetric(a: Any, values: NDArray[np.float64], tolerance: float) -> None:
    if len(values) == 0:
        return
    largest = float(np.abs(values).max())
    if not np.isfinite(largest):
        raise NotFiniteError("a value of the matrix is infinite or not a number")
    a = type(a)((values, a.indices, a.indptr), shape=a.shape)
    transpose = a.T.asformat(a.format)
    if not a.has_sorted_indices:
        a = a.sorted_indices()
    if np.array_equal(a.indptr, transpose.indptr) and np.array_equal(a.indices, transpose.indices):
        difference = float(np.abs(a.data - transpose.data).max())
    else:
        difference = float(abs(a - transpose).max())
    if difference > tolerance * largest:
        raise NotSymmetricError(
            f"the matrix is not symmetric: it differs from its transpose by up to {difference:.3g}, "
            f"{difference / largest:.1e} of its largest entry. If it holds the lower triangle alone, say "
            f"lower=True; if the difference does not matter, raise tolerance={tolerance:g}"
        )
