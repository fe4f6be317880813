"""Lowest vibrations of a plate, held along its edges, by shift and invert or by slicing the spectrum.

    python3 plate_modes.py -eps_nev 6 -st_type sinvert -eps_target 0 -st_pc_type cholesky
    python3 plate_modes.py -eps_interval 0,2e4 -st_type sinvert -st_pc_type cholesky ...

A unit square of unit stiffness and mass, simply supported: finite differences of the biharmonic operator, the square
of the five-point Laplacian, whose eigenvalues are known exactly. Which factorization, PETSc's options say. Slicing
counts eigenvalues below a shift by the inertia of a factor, so it finds each of an interval, repeated ones included.
Prints the eigenvalues, the exact ones and the largest relative error; the exit status is 1 when it is above 1e-8.
"""
import sys

import numpy as np
import slepc4py

slepc4py.init(sys.argv)
from petsc4py import PETSc  # noqa: E402
from slepc4py import SLEPc  # noqa: E402


def laplacian(side):
    """Five-point, on side x side inner points of the unit square."""
    n = side * side
    a = PETSc.Mat().createAIJ([n, n], nnz=5, comm=PETSC_COMM)
    h = 1.0 / (side + 1)
    for i in range(*a.getOwnershipRange()):
        row, column = divmod(i, side)
        a[i, i] = 4 / h**2
        for near, inside in ((i - 1, column > 0), (i + 1, column + 1 < side), (i - side, row > 0), (i + side, row + 1 < side)):
            if inside:
                a[i, near] = -1 / h**2
    a.assemble()
    return a


def exact(side):
    """All eigenvalues, ascending."""
    h = 1.0 / (side + 1)
    one = 4 / h**2 * np.sin(np.pi * h * np.arange(1, side + 1) / 2) ** 2
    return np.sort(((one[:, None] + one[None, :]) ** 2).ravel())


PETSC_COMM = PETSc.COMM_WORLD
side = PETSc.Options().getInt("side", 40)
second_differences = laplacian(side)
plate = second_differences.matMult(second_differences)
plate.setOption(PETSc.Mat.Option.SYMMETRIC, True)

eps = SLEPc.EPS().create()
eps.setOperators(plate)
eps.setProblemType(SLEPc.EPS.ProblemType.HEP)
eps.setFromOptions()
eps.solve()
found = np.sort([eps.getEigenvalue(k).real for k in range(eps.getConverged())])
known = exact(side)
if eps.getWhichEigenpairs() == SLEPc.EPS.Which.ALL:
    low, high = eps.getInterval()
    known = known[(known >= low) & (known <= high)]
else:
    known = known[:len(found)]
complete = len(found) == len(known) and len(found) >= min(eps.getDimensions()[0], side * side)
error = np.abs(found / known - 1).max() if complete else np.inf
PETSc.Sys.Print("found", *np.round(found, 2))
PETSc.Sys.Print("exact", *np.round(known, 2))
PETSc.Sys.Print(f"{len(found)} eigenvalues, largest relative error {error:.1e}")
sys.exit(0 if error < 1e-8 else 1)
