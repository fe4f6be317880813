#!/usr/bin/env python3
"""Compares vyr with what else Python has for symmetric systems: scipy's splu and cvxopt's Cholesky.

usage: python_peers.py [MATRIX...]      MATRIX: grid3d_N, grid2d_N; default grid3d_25 grid3d_35 grid2d_300

Needs numpy, scipy, and cvxopt where that is to be compared. Every run has a process of its own: the memory is the
peak of the process less what it held with the matrix. Times are medians of three rounds, ordering included; beside
other work trust those of the processor, and let OMP_NUM_THREADS=1 make all solvers work on one thread.
"""

import resource
import statistics
import subprocess
import sys
import time

import numpy as np
from scipy import sparse

ROUNDS = 3


def matrix(name):
    kind, size = name.split("_")
    line = sparse.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(int(size), int(size)))
    result = line
    for _ in range({"grid2d": 1, "grid3d": 2}[kind]):
        result = sparse.kronsum(result, line)
    return result.tocsc()


def vyr_solver(a):
    import vyr

    return vyr.factorize(a, kind="spd").solve


def splu_solver(a):
    from scipy.sparse.linalg import splu

    # What its documentation advises for symmetric matrices.
    return splu(a, permc_spec="MMD_AT_PLUS_A", diag_pivot_thresh=0.0, options={"SymmetricMode": True}).solve


def cvxopt_solver(a):
    import cvxopt.cholmod

    coo = sparse.tril(a).tocoo()
    lower = cvxopt.spmatrix(coo.data, coo.row.astype(int), coo.col.astype(int), a.shape)
    factor = cvxopt.cholmod.symbolic(lower)
    cvxopt.cholmod.numeric(lower, factor)

    def solve(b):
        x = cvxopt.matrix(b)
        cvxopt.cholmod.solve(factor, x)
        return np.array(x).ravel()

    return solve


SOLVERS = {"vyr": vyr_solver, "splu": splu_solver, "cvxopt": cvxopt_solver}


def run(name, solver):
    """One factorization and solve: prints seconds of each, of the processor for the first, megabytes, backward error."""
    a = matrix(name)
    b = np.ones(a.shape[0])
    SOLVERS[solver](matrix("grid2d_5"))  # libraries loaded
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    start, processor = time.perf_counter(), time.process_time()
    solve = SOLVERS[solver](a)
    factorised, processor = time.perf_counter(), time.process_time() - processor
    x = solve(b)
    solved = time.perf_counter()
    peak = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    residual = abs(b - a @ x).max() / (abs(a).sum(axis=0).max() * abs(x).max() + 1)
    print(factorised - start, processor, solved - factorised, (peak - before) / 1024, residual)


def main(names):
    print("| matrix | solver | factorise, s | of the processor, s | solve, s | memory, MB | backward error |")
    print("|---|---|---|---|---|---|---|")
    for name in names:
        figures = {solver: [] for solver in SOLVERS}
        for _ in range(ROUNDS):
            for solver, rows in figures.items():
                command = [sys.executable, __file__, "--run", name, solver]
                row = subprocess.run(command, stdout=subprocess.PIPE, text=True, check=True).stdout
                rows.append([float(figure) for figure in row.split()])
        for solver, rows in figures.items():
            median = [statistics.median(column) for column in zip(*rows)]
            times = f"{median[0]:.2f} | {median[1]:.2f} | {median[2]:.3f}"
            print(f"| {name} | {solver} | {times} | {median[3]:.0f} | {median[4]:.0e} |")


if __name__ == "__main__":
    if sys.argv[1:2] == ["--run"]:
        run(*sys.argv[2:])
    else:
        main(sys.argv[1:] or ["grid3d_25", "grid3d_35", "grid2d_300"])
