"""What the library tells of an analysis, a factorization and a solve."""

from __future__ import annotations

import dataclasses
from typing import Any, TypeVar

from ._library import Kind, Ordering, Sized

_UNITS = {"bytes": (1e6, "MB"), "operations": (1e9, "GFLOP"), "seconds": (1.0, "s")}


def _shown(name: str, value: object) -> str:
    for part, (scale, unit) in _UNITS.items():
        if part in name and isinstance(value, float):
            return f"{value / scale:.4g} {unit}"
    return f"{value:.4g}" if isinstance(value, float) else str(value)


class _Readable:
    def __repr__(self) -> str:
        fields = dataclasses.fields(self)
        lines = [f"  {field.name:<18}{_shown(field.name, getattr(self, field.name))}" for field in fields]
        return "\n".join([type(self).__name__, *lines])


@dataclasses.dataclass(frozen=True, repr=False)
class AnalysisInfo(_Readable):
    """What a factorization will cost. Sizes in bytes, times in seconds."""

    n: int
    entries: int  #: of the lower triangle, repeated ones once
    factor_entries: int  #: of L, the diagonal included
    operations: float  #: floating-point operations of a factorization
    factor_bytes: float  #: of the factor in memory
    peak_bytes: float  #: beside what the process holds already
    least_bytes: float  #: least possible peak of a factorization in files
    seconds_order: float
    seconds_analyse: float  #: ordering included
    supernodes: int
    kind: str  #: "spd" or "indefinite": what a factor would be
    ordering: str
    compressed: int  #: 1: unknowns of one pattern were ordered together
    threads: int
    structural_rank: int  #: most that a matrix with these nonzeros has; -1: no matching was made
    pairs: int  #: of equations that are eliminated together


@dataclasses.dataclass(frozen=True, repr=False)
class FactorInfo(_Readable):
    """What a factorization found. Sizes in bytes, times in seconds."""

    kind: str  #: "spd": L·Lᵀ; "indefinite": L·D·Lᵀ
    threads: int
    kernels: str  #: vector instructions of the BLAS and of the library's loops
    seconds_factorise: float
    seconds_files: float
    operations: float
    pivot_smallest: float  #: magnitude: of the diagonal of L, or of the eigenvalues of D's blocks
    pivot_largest: float
    two_by_two: int  #: 2 x 2 pivots
    perturbed: int  #: pivots that were replaced, by static pivoting
    positive: int  #: eigenvalues above, below and at zero
    negative: int
    zero: int
    files: int
    file_bytes: float
    factor_bytes: float  #: held in memory
    structural_rank: int  #: of the values, where a matching chose their scaling; otherwise -1
    rank: int  #: to working precision: n less the zero pivots; -1: not known
    delayed: int  #: columns passed on to find a pivot, once for each time


@dataclasses.dataclass(frozen=True, repr=False)
class SolveInfo(_Readable):
    """What a solve found."""

    backward_error: float  #: max |b - A x| / (|A| max |x| + max |b|), the largest over all columns
    forward_error: float  #: bound on the relative error of x where the condition is known, else -1
    refinements: int  #: steps that improved the solution
    seconds: float


Info = TypeVar("Info", AnalysisInfo, FactorInfo, SolveInfo)


def info_of(kind_of_info: type[Info], figures: Sized) -> Info:
    """The library's figures by name, with words for codes."""
    members: dict[str, Any] = {
        field.name: getattr(figures, field.name) for field in dataclasses.fields(kind_of_info)
    }
    if "kind" in members:
        members["kind"] = Kind(members["kind"]).name
    if "ordering" in members:
        members["ordering"] = Ordering(members["ordering"]).name
    if "kernels" in members:
        members["kernels"] = (members["kernels"] or b"").decode()
    return kind_of_info(**members)
