"""Factor: a factorised matrix, its solves, and what it tells."""

from __future__ import annotations

import ctypes
import functools
from typing import TYPE_CHECKING, Any, Callable, NamedTuple

import numpy as np
from numpy.typing import ArrayLike, NDArray
from scipy import sparse
from scipy.sparse.linalg import LinearOperator

from . import _library
from ._handle import Handle
from ._info import FactorInfo, SolveInfo, info_of
from ._library import Kind, Part, lib
from ._matrix import LowerTriangle, as_float64
from .errors import InaccurateError, InputError, NotPositiveDefiniteError, SingularError, VyrError, error

if TYPE_CHECKING:
    from ._analysis import Analysis

Array = NDArray[np.float64]


class Inertia(NamedTuple):
    """How many eigenvalues are positive, negative and zero."""

    positive: int
    negative: int
    zero: int


class Factor(Handle):
    """A factorised matrix: A[perm, perm] = L·Lᵀ or L·D·Lᵀ. Made by `factorize` or `Analysis.factorize`.

    Any number of threads may solve with it at the same time; `refactorize` wants it for itself. Close it, or
    use it in a `with`, to give its memory back at once.
    """

    def __init__(self, analysis: Analysis, pointer: int, triangle: LowerTriangle) -> None:
        super().__init__(pointer, lib.vyr_factor_free)
        self.analysis = analysis
        self._settings = analysis.settings
        try:
            self._factorize(triangle)
        except BaseException:
            self.close()
            raise

    # ---------------------------------------------------------------- factorising

    def _factorize(self, triangle: LowerTriangle) -> None:
        with self._in_use() as factor:
            status = lib.vyr_factorise(factor, ctypes.byref(triangle.view()))
            self._settings.callbacks.after_call()
            if status != 0:
                raise self._failure(factor, status)

    def _failure(self, factor: int, status: int) -> VyrError:
        failure = error(status, lib.vyr_factor_message(factor))
        figures = _library.FactorFigures()
        lib.vyr_factor_get_info(factor, ctypes.byref(figures))
        equation = figures.failed_equation - 1
        if isinstance(failure, NotPositiveDefiniteError):
            failure.args = (
                f"not positive definite: the pivot of equation {equation}, counted from 0, is "
                f"{figures.failed_pivot:.3g}",
            )
            failure.equation, failure.pivot = equation, figures.failed_pivot
        elif isinstance(failure, SingularError):
            failure.equation = equation
        return failure

    def refactorize(self, values: ArrayLike | Any) -> Factor:
        """Factorises other values of the same pattern in place of the old ones.

        values   a matrix in the analysed form, or an array in the order of its data
        """
        self._factorize(self.analysis.triangle(values))
        return self

    # ---------------------------------------------------------------- solving

    def solve(self, b: ArrayLike, out: Array | None = None) -> Array:
        """Solves A x = b for one right-hand side, or for the columns of b.

        b     n, or n x k; not written
        out   float64 of the shape of b, in Fortran order when it has columns; may be b itself
        """
        return self._solve(b, out, None)

    __call__ = solve

    def solve_with_info(self, b: ArrayLike, out: Array | None = None) -> tuple[Array, SolveInfo]:
        """As `solve`, with errors and refinement steps, which take a product with A."""
        figures = _library.SolveFigures()
        x = self._solve(b, out, figures)
        return x, info_of(SolveInfo, figures)

    def _solve(self, b: ArrayLike, out: Array | None, figures: _library.SolveFigures | None) -> Array:
        b = self._columns(b)
        x = np.empty(b.shape, order="F") if out is None else self._writable(out, b.shape)
        if b.size == 0:
            return x
        if not _has_columns(b):  # into the solution's place, and solved there
            x[...] = b
            b = x
        info = None if figures is None else ctypes.byref(figures)
        with self._in_use() as factor:
            status = lib.vyr_solve(
                factor, _count(b), b.ctypes, _leading(b), x.ctypes, _leading(x), info
            )
            self._after(status, x)
        return x

    def half_solve(self, b: ArrayLike, transposed: bool = False) -> Array:
        """Half of a solve: L⁻¹ P b, or with `transposed` Pᵀ L⁻ᵀ b, where P b is b[perm].

        For L·Lᵀ the one after the other is a solve. b: n, or n x k; not written.
        """
        b = self._columns(b)
        x = np.array(b, order="F")
        part = Part.ltpt if transposed else Part.pl
        if x.size > 0:
            with self._in_use() as factor:
                self._after(lib.vyr_solve_part(factor, part, _count(x), x.ctypes, _leading(x)), x)
        return x

    def _columns(self, b: ArrayLike) -> Array:
        given = as_float64(np.asarray(b), "the right-hand side")
        if given.ndim not in (1, 2) or given.shape[0] != self.n:
            raise InputError(f"a right-hand side has {self.n} rows; this one has the shape {given.shape}")
        return given

    @staticmethod
    def _writable(out: Array, shape: tuple[int, ...]) -> Array:
        if out.shape != shape or out.dtype != np.float64 or not _has_columns(out) or not out.flags.writeable:
            raise InputError(f"out is float64, writable, of shape {shape}, its columns contiguous")
        return out

    def _after(self, status: int, x: Array | None = None) -> None:
        """Raises what a call of the library or a callback in it ended with."""
        self._settings.callbacks.after_call()
        if status != 0:
            failure = error(status)
            if isinstance(failure, InaccurateError):
                failure.x = x
            raise failure

    def as_linear_operator(self) -> LinearOperator:
        """A⁻¹ for scipy's `eigsh(..., OPinv=...)`, `cg(..., M=...)` and the like."""
        return LinearOperator(
            (self.n, self.n), matvec=self.solve, rmatvec=self.solve, matmat=self.solve, dtype=np.float64
        )

    # ---------------------------------------------------------------- looking

    @property
    def n(self) -> int:
        """Order of the matrix."""
        return self.analysis.n

    @property
    def shape(self) -> tuple[int, int]:
        return (self.n, self.n)

    @property
    def info(self) -> FactorInfo:
        """What the factorization found."""
        return info_of(FactorInfo, self._figures())

    @property
    def inertia(self) -> Inertia:
        """How many eigenvalues of A are positive, negative and zero."""
        figures = self._figures()
        return Inertia(figures.positive, figures.negative, figures.zero)

    def slogdet(self) -> tuple[int, float]:
        """Sign of det A, and log |det A|."""
        logarithm, sign = ctypes.c_double(), ctypes.c_int32()
        self._ask(lib.vyr_log_determinant, ctypes.byref(logarithm), ctypes.byref(sign))
        return sign.value, logarithm.value

    def logdet(self) -> float:
        """log |det A|."""
        return self.slogdet()[1]

    def condition(self, equilibrated: bool = False) -> float:
        """Estimate of the condition number of A in the 1-norm; a few solves.

        equilibrated   of S A S, with S such that every row's largest entry is near 1
        """
        condition = ctypes.c_double()
        self._ask(lib.vyr_condition, int(equilibrated), ctypes.byref(condition))
        return condition.value

    @property
    def perm(self) -> NDArray[np.int32]:
        """perm[k] is the equation eliminated k-th, interchanges included."""
        order = np.empty(self.n, dtype=np.int32)
        self._ask(lib.vyr_factor_columns, self._pointers().ctypes, None, None, order.ctypes)
        return order

    @property
    def L(self) -> sparse.csc_matrix:
        """L in the order of elimination, with the zeros that its supernodes keep. A copy."""
        ptr = self._pointers()
        self._ask(lib.vyr_factor_columns, ptr.ctypes, None, None, None)
        ind = np.empty(ptr[-1], dtype=np.int32)
        values = np.empty(ptr[-1])
        self._ask(lib.vyr_factor_columns, ptr.ctypes, ind.ctypes, values.ctypes, None)
        return sparse.csc_matrix((values, ind, ptr), shape=self.shape)

    @property
    def D(self) -> sparse.csc_matrix:
        """D of L·D·Lᵀ, with blocks of order 1 and 2; the identity for L·Lᵀ."""
        if Kind[self.info.kind] == Kind.spd:
            return sparse.identity(self.n, format="csc")
        diagonal, beside = np.empty(self.n), np.empty(self.n)
        self._ask(lib.vyr_factor_diagonal, diagonal.ctypes, beside.ctypes)
        return sparse.diags([beside[:-1], diagonal, beside[:-1]], [-1, 0, 1], format="csc")

    def _pointers(self) -> NDArray[np.int64]:
        return np.empty(self.n + 1, dtype=np.int64)

    def _ask(self, function: Callable[..., int], *arguments: object) -> None:
        with self._in_use() as factor:
            self._after(function(factor, *arguments))

    def _figures(self) -> _library.FactorFigures:
        figures = _library.FactorFigures()
        self._ask(lib.vyr_factor_get_info, ctypes.byref(figures))
        if figures.status != 0:
            raise error(figures.status)
        return figures

    def __repr__(self) -> str:
        return f"<vyr.Factor of order {self.n}{', closed' if self.closed else ''}>"


def _has_columns(b: Array) -> bool:
    """True when the entries of each column lie side by side, as the library wants them."""
    step = b.itemsize
    if b.size == 0:
        return True
    if b.shape[0] > 1 and b.strides[0] != step:
        return False
    return b.ndim == 1 or b.shape[1] < 2 or (b.strides[1] >= b.shape[0] * step and b.strides[1] % step == 0)


def _count(b: Array) -> int:
    return 1 if b.ndim == 1 else b.shape[1]


def _leading(b: Array) -> int:
    """Entries from one column to the next."""
    return b.shape[0] if _count(b) < 2 else b.strides[1] // b.itemsize
