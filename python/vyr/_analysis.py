"""Analysis: order and structure of a pattern, shared by any number of factors."""

from __future__ import annotations

import ctypes
import functools
from typing import Any

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _library
from ._factor import Factor
from ._handle import Handle
from ._info import AnalysisInfo, info_of
from ._library import lib
from ._matrix import LowerTriangle, compressed, lower_triangle
from ._options import Settings
from .errors import InputError, error


class Analysis(Handle):
    """The order of elimination and the structure of the factor for one pattern; made by `analyze`.

    It never changes. Factors made from it stay valid when it is closed.
    """

    def __init__(self, a: Any, *, lower: bool, tolerance: float | None, **options: Any) -> None:
        self._read = functools.partial(lower_triangle, lower=lower, tolerance=tolerance)
        self._given = compressed(a)
        self._triangle: LowerTriangle = self._read(self._given)
        self.settings = Settings(self._triangle.n, **options)
        pointer = ctypes.c_void_p()
        status = lib.vyr_analyse(
            ctypes.byref(self._triangle.view()), ctypes.byref(self.settings.options), ctypes.byref(pointer)
        )
        try:
            self.settings.callbacks.after_call()
            if status != 0:
                raise error(status, lib.vyr_analysis_message(pointer))
        except BaseException:
            lib.vyr_analysis_free(pointer)
            raise
        assert pointer.value is not None
        super().__init__(pointer.value, lib.vyr_analysis_free)

    @property
    def n(self) -> int:
        """Order of the matrix."""
        return self._triangle.n

    @functools.cached_property
    def info(self) -> AnalysisInfo:
        """What a factorization will cost."""
        figures = _library.AnalysisFigures()
        with self._in_use() as analysis:
            status = lib.vyr_analysis_get_info(analysis, ctypes.byref(figures))
        if status != 0:
            raise error(status)
        return info_of(AnalysisInfo, figures)

    @functools.cached_property
    def perm(self) -> NDArray[np.int32]:
        """perm[k] is the equation to be eliminated k-th."""
        order = np.empty(self.n, dtype=np.int32)
        with self._in_use() as analysis:
            status = lib.vyr_analysis_permutation(analysis, order.ctypes)
        if status != 0:
            raise error(status)
        return order

    def pattern(self) -> tuple[NDArray[np.int32], NDArray[Any]]:
        """Rows and columns of the entries of the lower triangle."""
        triangle = self._triangle
        return triangle.ind, np.repeat(np.arange(self.n), np.diff(triangle.ptr))

    def triangle(self, values: Any) -> LowerTriangle:
        """The analysed pattern with other values: a matrix, or an array in the order of A.data."""
        if np.ndim(values) != 1:
            return self._read(values)
        given = self._given
        data = np.asarray(values)
        if data.shape != given.data.shape:
            raise InputError(
                f"{data.size} values for a pattern of {given.data.size} entries; an array of values stands in "
                "the order of A.data, where A is csc or csr"
            )
        return self._read(type(given)((data, given.indices, given.indptr), shape=given.shape))

    def factorize(self, values: ArrayLike | Any = None) -> Factor:
        """Factorises the analysed matrix, or one of the same pattern.

        values   a matrix in the analysed form, or an array in the order of A.data; None: those analysed
        """
        triangle = self._triangle if values is None else self.triangle(values)
        with self._in_use() as analysis:
            pointer = ctypes.c_void_p()
            status = lib.vyr_factor_create(analysis, None, ctypes.byref(pointer))
        if status != 0:
            raise error(status)
        assert pointer.value is not None
        return Factor(self, pointer.value, triangle)

    def __repr__(self) -> str:
        return f"<vyr.Analysis of order {self.n}{', closed' if self.closed else ''}>"
