"""Pictures of a factorization. Needs matplotlib."""

from __future__ import annotations

from typing import Any

import numpy as np
from numpy.typing import NDArray

from ._factor import Factor

_CELLS = 300  # of a picture, each way


def front_sizes(ptr: NDArray[np.int64]) -> tuple[NDArray[np.int64], NDArray[np.int64]]:
    """Pivots and rows of each front, by the columns of L.

    A column belongs to the front of the one before it when it has the same rows without that one's pivot:
    one entry less.
    """
    counts = np.diff(ptr)
    first = np.flatnonzero(np.concatenate([[True], counts[1:] != counts[:-1] - 1]))
    return np.diff(np.append(first, len(counts))), counts[first]


def _density(axes: Any, rows: NDArray[Any], columns: NDArray[Any], n: int, title: str) -> None:
    cells = min(n, _CELLS)
    picture, _, _ = np.histogram2d(rows, columns, bins=cells, range=[[0, n], [0, n]])
    share = np.log1p(picture)
    axes.imshow(share, cmap="Greys", extent=(0, n, n, 0), interpolation="nearest")
    axes.set_title(title)


def spy(factor: Factor, figure: Any = None) -> Any:
    """Draws where A and L have entries, in the order of elimination, and the sizes of the fronts.

    figure   matplotlib's; None: a new one
    returns  the figure
    """
    if figure is None:
        from matplotlib import pyplot

        figure = pyplot.figure(figsize=(12, 4), layout="constrained")
    n = factor.n
    lower = factor.L
    left, middle, right = figure.subplots(1, 3)
    position = np.empty(n, dtype=np.int64)
    position[factor.perm] = np.arange(n)
    rows, columns = (position[part] for part in factor.analysis.pattern())
    _density(left, np.r_[rows, columns], np.r_[columns, rows], n, f"A: {len(rows):,} entries of a triangle")
    _density(
        middle, lower.indices, np.repeat(np.arange(n), np.diff(lower.indptr)), n, f"L: {lower.nnz:,} entries"
    )
    pivots, order = front_sizes(lower.indptr)
    right.loglog(order, pivots, ".", alpha=0.4)
    right.set(xlabel="rows of a front", ylabel="pivots", title=f"{len(order):,} fronts")
    return figure
