"""libvyrsolver through ctypes: structures, functions, and where the library is.

ctypes releases the interpreter's lock during every call, and takes it back for callbacks.
"""

from __future__ import annotations

import ctypes
import enum
import os
import pathlib
import sys
from ctypes import POINTER, c_char_p, c_double, c_int32, c_int64, c_size_t, c_void_p

import numpy as np
from numpy.typing import NDArray

MAJOR = 1  # of the library's interface
_NAMES = ["vyrsolver.dll"] if sys.platform == "win32" else [f"libvyrsolver.so.{MAJOR}", "libvyrsolver.so"]

Log = ctypes.CFUNCTYPE(None, c_void_p, c_int32, c_char_p)
Progress = ctypes.CFUNCTYPE(c_int32, c_void_p, c_int32, c_double)


class Kind(enum.IntEnum):
    """What is computed: VYR_KIND_."""

    spd = 0
    indefinite = 1
    auto = 2


class Ordering(enum.IntEnum):
    """How the equations are ordered: VYR_ORDERING_."""

    auto = 0
    metis = 1
    amd = 2
    natural = 3
    user = 4
    dissection = 5


class Matching(enum.IntEnum):
    """Large entries of an indefinite matrix in pairs that are eliminated together: VYR_MATCHING_."""

    auto = 0
    on = 1
    off = 2


class Scaling(enum.IntEnum):
    """What an indefinite matrix is scaled by: VYR_SCALING_."""

    auto = 0
    none = 1
    norm = 2
    matching = 3


class Pivoting(enum.IntEnum):
    """What becomes of a column of an indefinite matrix that has no pivot: VYR_PIVOTING_."""

    delayed = 0
    static = 1


class Part(enum.IntEnum):
    """Joined parts of a solve: VYR_PART_."""

    pl = 5
    ltpt = 6


class Ability(enum.IntFlag):
    """What a build of the library can do: VYR_ABILITY_."""

    metis = 1
    amd = 2
    indefinite = 4
    out_of_core = 8
    cancel_ordering = 16


class Sized(ctypes.Structure):
    """A structure of the interface: its first member tells how much of it this program knows."""

    def __init__(self) -> None:
        super().__init__(ctypes.sizeof(self))


class Options(Sized):
    _fields_ = [
        ("size", c_size_t),
        ("kind", c_int32),
        ("ordering", c_int32),
        ("permutation", c_void_p),
        ("duplicates", c_int32),
        ("threads", c_int32),
        ("keep_matrix", c_int32),
        ("refinements", c_int32),
        ("pivot_min", c_double),
        ("backward_error_limit", c_double),
        ("directory", c_char_p),
        ("memory_limit", c_double),
        ("log", Log),
        ("log_user", c_void_p),
        ("progress", Progress),
        ("progress_user", c_void_p),
        ("matching", c_int32),
        ("scaling", c_int32),
        ("pivoting", c_int32),
        ("zero_pivots", c_int32),
        ("pivot_share", c_double),
        ("zero_pivot", c_double),
    ]


class Matrix(Sized):
    _fields_ = [
        ("size", c_size_t),
        ("n", c_int64),
        ("ptr", c_void_p),
        ("ind", c_void_p),
        ("values", c_void_p),
        ("ptr_bytes", c_int32),
        ("base", c_int32),
        ("triangle", c_int32),
        ("layout", c_int32),
    ]


class AnalysisFigures(Sized):
    _fields_ = [
        ("size", c_size_t),
        ("n", c_int64),
        ("entries", c_int64),
        ("factor_entries", c_int64),
        ("operations", c_double),
        ("factor_bytes", c_double),
        ("peak_bytes", c_double),
        ("least_bytes", c_double),
        ("seconds_order", c_double),
        ("seconds_analyse", c_double),
        ("supernodes", c_int64),
        ("kind", c_int32),
        ("ordering", c_int32),
        ("compressed", c_int32),
        ("threads", c_int32),
        ("structural_rank", c_int64),
        ("pairs", c_int64),
    ]


class FactorFigures(Sized):
    _fields_ = [
        ("size", c_size_t),
        ("status", c_int32),
        ("kind", c_int32),
        ("threads", c_int32),
        ("reserved", c_int32),
        ("kernels", c_char_p),
        ("seconds_factorise", c_double),
        ("seconds_files", c_double),
        ("operations", c_double),
        ("pivot_smallest", c_double),
        ("pivot_largest", c_double),
        ("two_by_two", c_int64),
        ("perturbed", c_int64),
        ("positive", c_int64),
        ("negative", c_int64),
        ("zero", c_int64),
        ("failed_equation", c_int64),
        ("failed_pivot", c_double),
        ("files", c_int64),
        ("file_bytes", c_double),
        ("factor_bytes", c_double),
        ("structural_rank", c_int64),
        ("rank", c_int64),
        ("delayed", c_int64),
    ]


class SolveFigures(Sized):
    _fields_ = [
        ("size", c_size_t),
        ("backward_error", c_double),
        ("forward_error", c_double),
        ("refinements", c_int32),
        ("reserved", c_int32),
        ("seconds", c_double),
    ]


_PROTOTYPES: dict[str, tuple[object, list[object]]] = {
    "vyr_version": (c_int32, []),
    "vyr_abilities": (c_int32, []),
    "vyr_status_text": (c_char_p, [c_int32]),
    "vyr_options_default": (None, [POINTER(Options), c_size_t]),
    "vyr_analyse": (c_int32, [POINTER(Matrix), POINTER(Options), POINTER(c_void_p)]),
    "vyr_analysis_free": (None, [c_void_p]),
    "vyr_analysis_get_info": (c_int32, [c_void_p, POINTER(AnalysisFigures)]),
    "vyr_analysis_permutation": (c_int32, [c_void_p, c_void_p]),
    "vyr_analysis_message": (c_char_p, [c_void_p]),
    "vyr_factor_create": (c_int32, [c_void_p, POINTER(Options), POINTER(c_void_p)]),
    "vyr_factorise": (c_int32, [c_void_p, POINTER(Matrix)]),
    "vyr_factor_free": (None, [c_void_p]),
    "vyr_factor_get_info": (c_int32, [c_void_p, POINTER(FactorFigures)]),
    "vyr_factor_message": (c_char_p, [c_void_p]),
    "vyr_solve": (
        c_int32,
        [c_void_p, c_int32, c_void_p, c_int64, c_void_p, c_int64, POINTER(SolveFigures)],
    ),
    "vyr_solve_part": (c_int32, [c_void_p, c_int32, c_int32, c_void_p, c_int64]),
    "vyr_condition": (c_int32, [c_void_p, c_int32, POINTER(c_double)]),
    "vyr_log_determinant": (c_int32, [c_void_p, POINTER(c_double), POINTER(c_int32)]),
    "vyr_factor_diagonal": (c_int32, [c_void_p, c_void_p, c_void_p]),
    "vyr_factor_columns": (c_int32, [c_void_p, c_void_p, c_void_p, c_void_p, c_void_p]),
}


def address(array: NDArray[np.generic] | None) -> int | None:
    """Where an array's entries begin, for a structure, which does not keep the array; None for none."""
    return None if array is None else array.ctypes.data


def _candidates() -> list[str]:
    """The library that VYR_LIBRARY names, or else the wheel's own, then the system's."""
    named = os.environ.get("VYR_LIBRARY")
    if named:
        return [named]
    carried = pathlib.Path(__file__).parent / "lib"
    return [str(carried / name) for name in _NAMES if (carried / name).exists()] + _NAMES


def _load() -> tuple[ctypes.CDLL, str]:
    failures = []
    for path in _candidates():
        try:
            library = ctypes.CDLL(path)
            break
        except OSError as failure:
            failures.append(str(failure))
    else:
        raise ImportError(
            "vyr needs the library libvyrsolver: install the package libvyrsolver1, or let the environment "
            "variable VYR_LIBRARY name the file. Tried: " + "; ".join(failures)
        )
    for name, (result, arguments) in _PROTOTYPES.items():
        function = getattr(library, name)
        function.restype = result
        function.argtypes = arguments
    if library.vyr_version() // 1000 != MAJOR:
        raise ImportError(f"{path} has version {library.vyr_version()} of the interface; {MAJOR}xxx is needed")
    return library, path


lib, lib_path = _load()
