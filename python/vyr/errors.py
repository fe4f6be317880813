"""Exceptions, one for each status that a caller may want to tell apart."""

from __future__ import annotations

import numpy as np
from numpy.typing import NDArray

from ._library import lib


class ConversionWarning(UserWarning):
    """Values of another type than float64 were converted; given once for each type."""


class VyrError(RuntimeError):
    """A call of the library failed. `status` is the library's code, a negative number."""

    status: int = 0


class InputError(VyrError, ValueError):
    """The matrix, an option or a right-hand side is not what was asked for."""


class NotSymmetricError(InputError):
    """The matrix differs from its transpose."""


class NotFiniteError(InputError):
    """A value is infinite or not a number."""


class PatternError(InputError):
    """The matrix has another pattern than the analysed one."""


class NotPositiveDefiniteError(VyrError, np.linalg.LinAlgError):
    """L·Lᵀ met a pivot that is not positive.

    `equation` tells which, counted from 0, and `pivot` its value.
    """

    equation: int = -1
    pivot: float = float("nan")


class SingularError(VyrError, np.linalg.LinAlgError):
    """No pivot was left. `equation`: where, counted from 0; -1 when that is not known."""

    equation: int = -1


class InaccurateError(VyrError, np.linalg.LinAlgError):
    """The backward error stayed above its limit. `x` is the best solution found."""

    x: NDArray[np.float64] | None = None


class OutOfMemory(VyrError, MemoryError):
    """Memory could not be had, or the factor would not fit; `directory=` keeps it in files."""


class FactorFileError(VyrError, OSError):
    """A factor file cannot be written, opened or read in full."""


class CancelledError(VyrError):
    """The progress callback asked for the end."""


class NotFactorizedError(VyrError):
    """There is no factorization, or the last one failed."""


class BusyError(VyrError):
    """The object is at work: called from a callback of its own, or while it is factorised."""


class OrderingError(VyrError):
    """The ordering failed."""


STATUSES: dict[int, type[VyrError]] = {
    -1: InputError,
    -2: InputError,
    -4: InputError,
    -5: FactorFileError,
    -6: InputError,
    -8: NotFiniteError,
    -9: PatternError,
    -10: OutOfMemory,
    -29: OutOfMemory,
    -30: NotPositiveDefiniteError,
    -31: SingularError,
    -40: CancelledError,
    -41: OrderingError,
    -42: InputError,
    -43: NotFactorizedError,
    -44: BusyError,
    -45: NotSymmetricError,
    -46: InaccurateError,
    -47: VyrError,
    -48: VyrError,
}


def error(status: int, message: bytes = b"") -> VyrError:
    """The exception for a status, with the object's own sentence or the general one."""
    text = (message or lib.vyr_status_text(status)).decode(errors="replace")
    failure = STATUSES.get(status, VyrError)(text)
    failure.status = status
    return failure
