"""Objects of the library held from Python: freed once, and not while a call uses them."""

from __future__ import annotations

import contextlib
import os
import threading
import weakref
from typing import Any, Callable, Iterator


class _Owned:
    """One object of the library. `release` frees it when nobody uses it any more."""

    def __init__(self, pointer: int, free: Callable[[int], Any]) -> None:
        self._pointer: int | None = pointer
        self._free = free
        self._users = 1  # the Python object itself
        self._lock = threading.Lock()
        self._process = os.getpid()  # a forked child leaves the object, and its files, to its parent

    def acquire(self) -> int | None:
        with self._lock:
            self._users += self._pointer is not None
            return self._pointer

    def release(self) -> None:
        with self._lock:
            self._users -= 1
            if self._users > 0:
                return
            pointer, self._pointer = self._pointer, None
        if pointer is not None and os.getpid() == self._process:
            self._free(pointer)


class Handle:
    """Base of Analysis and Factor: a context manager over one object of the library."""

    def __init__(self, pointer: int, free: Callable[[int], Any]) -> None:
        self._owned = _Owned(pointer, free)
        self._finalizer = weakref.finalize(self, self._owned.release)

    def close(self) -> None:
        """Frees the memory and the files, when the calls at work have ended. May be repeated."""
        self._finalizer()

    @property
    def closed(self) -> bool:
        return not self._finalizer.alive

    @contextlib.contextmanager
    def _in_use(self) -> Iterator[int]:
        """The library's object, which stays while this lasts."""
        pointer = None if self.closed else self._owned.acquire()
        if pointer is None:
            raise ValueError(f"the {type(self).__name__.lower()} is closed")
        try:
            yield pointer
        finally:
            self._owned.release()

    def __enter__(self) -> Any:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()

    def __reduce_ex__(self, _: object) -> Any:
        raise TypeError(
            f"a vyr.{type(self).__name__} lives in this process and cannot be pickled or copied; send the matrix "
            "and make a new one there"
        )
