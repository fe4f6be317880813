"""Options of an analysis and its factors, and the callbacks behind them."""

from __future__ import annotations

import ctypes
import os
import threading
from typing import Any, Callable, Union

import numpy as np
from numpy.typing import ArrayLike, NDArray

from . import _library
from ._library import Kind, Matching, Ordering, Pivoting, Scaling, address, lib
from .errors import InputError

ProgressFunction = Callable[[str, float], Any]
LogFunction = Callable[[str], Any]
OrderingChoice = Union[str, ArrayLike]

_PHASES = ("analyse", "factorise", "solve")


class Callbacks:
    """Progress and log of one analysis and its factors, on whatever thread calls the library.

    The library asks for progress some times a second. That is also when Python sees Ctrl-C: the exception
    stops the library's call and is raised again behind it.
    """

    def __init__(self, progress: ProgressFunction | None, log: LogFunction | None) -> None:
        self._on_progress, self._on_log = progress, log
        self._pending = threading.local()
        self.progress = _library.Progress(self._tell)
        self.log = _library.Log(self._write)

    def _tell(self, _: object, phase: int, fraction: float) -> int:
        try:
            wanted = self._on_progress is not None and bool(self._on_progress(_PHASES[phase], fraction))
            return int(wanted or getattr(self._pending, "exception", None) is not None)
        except BaseException as exception:  # raised by after_call; nothing may leave a callback
            self._pending.exception = exception
            return 1

    def _write(self, _: object, level: int, text: bytes) -> None:
        try:
            if self._on_log is not None:
                self._on_log(text.decode(errors="replace"))
        except BaseException as exception:
            self._pending.exception = exception

    def after_call(self) -> None:
        """Raises what a callback of this thread's last call raised."""
        exception = getattr(self._pending, "exception", None)
        self._pending.exception = None
        if exception is not None:
            raise exception


class Settings:
    """The library's options with everything they point to, which must live as long as what uses them."""

    def __init__(
        self,
        n: int,
        *,
        kind: str = "auto",
        ordering: OrderingChoice = "auto",
        threads: int | None = None,
        memory_limit: float | None = None,
        directory: str | os.PathLike[str] | None = None,
        refinements: int | None = None,
        backward_error_limit: float | None = None,
        pivot_min: float = 0.0,
        keep_matrix: bool = True,
        matching: str = "auto",
        scaling: str = "auto",
        pivoting: str = "delayed",
        zero_pivots: bool = False,
        pivot_share: float | None = None,
        zero_pivot: float | None = None,
        progress: ProgressFunction | None = None,
        log: LogFunction | None = None,
    ) -> None:
        self.callbacks = Callbacks(progress, log)
        self._permutation: NDArray[np.int32] | None = None
        self.options = options = _library.Options()
        lib.vyr_options_default(ctypes.byref(options), ctypes.sizeof(options))
        options.kind = _chosen(Kind, "kind", kind)
        if isinstance(ordering, str) and ordering != "user":
            options.ordering = _chosen(Ordering, "ordering", ordering)
        else:
            self._permutation = _permutation(ordering, n)
            options.ordering = Ordering.user
            options.permutation = address(self._permutation)
        options.threads = threads or 0
        options.memory_limit = memory_limit or 0.0
        options.directory = None if directory is None else os.fsencode(directory)
        options.refinements = -1 if refinements is None else refinements
        options.backward_error_limit = -1.0 if backward_error_limit is None else backward_error_limit
        options.pivot_min = pivot_min
        options.keep_matrix = keep_matrix
        options.matching = _chosen(Matching, "matching", matching)
        options.scaling = _chosen(Scaling, "scaling", scaling)
        options.pivoting = _chosen(Pivoting, "pivoting", pivoting)
        options.zero_pivots = zero_pivots
        if pivot_share is not None:
            options.pivot_share = pivot_share
        if zero_pivot is not None:
            options.zero_pivot = zero_pivot
        options.progress = self.callbacks.progress
        if log is not None:
            options.log = self.callbacks.log


def _chosen(names: Any, what: str, name: str) -> int:
    if name not in names.__members__:
        raise InputError(f'{what}="{name}" is unknown; possible are {", ".join(names.__members__)}')
    return int(names[name])


def _permutation(ordering: OrderingChoice, n: int) -> NDArray[np.int32]:
    given = np.asarray(ordering)
    if given.shape != (n,) or given.dtype.kind not in "iu" or not np.array_equal(np.sort(given), np.arange(n)):
        raise InputError(f"an ordering is a name, or a permutation of 0 .. {n - 1}")
    return np.ascontiguousarray(given, dtype=np.int32)
