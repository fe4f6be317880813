"""Heat conduction or elasticity of a brick, by finite elements on any number of ranks.

    mpirun -n 4 python3 brick.py -pde elasticity -cells 16 -pc_type bjacobi -sub_pc_type cholesky
    mpirun -n 4 python3 brick.py -cells 16,8,8 -alone -pc_type cholesky

The program chooses no solver: PETSc's options do. With -alone every rank has a brick of its own. It prints one line of
JSON: unknowns, iterations, the relative residual |b - A x| / |b|, the seconds of the slowest rank and those of all
processors together, of -rounds solutions from scratch that with the median time.
"""
import json
import resource
import sys
import time
from itertools import product

import numpy as np
import petsc4py

petsc4py.init(sys.argv)
from petsc4py import PETSc  # noqa: E402

# Corners of a cube in the order of DMDA's elements.
CORNERS = np.array([(0, 0, 0), (1, 0, 0), (1, 1, 0), (0, 1, 0), (0, 0, 1), (1, 0, 1), (1, 1, 1), (0, 1, 1)])


def gradients(point):
    """Of the eight trilinear functions, 8 x 3."""
    signs = 2 * CORNERS - 1
    factors = np.where(CORNERS == 1, point, 1 - point)
    return np.stack([signs[:, d] * np.prod(np.delete(factors, d, axis=1), axis=1) for d in range(3)], axis=1)


def element_matrix(pde):
    """Stiffness of the unit cube, by 2 x 2 x 2 Gauss points: 8 x 8, or 24 x 24 with three in a row for a corner."""
    lam, mu = 0.3 / (1.3 * 0.4), 0.5 / 1.3  # Young's modulus 1, Poisson's ratio 0.3
    result = 0
    for point in product(0.5 + np.array([-0.5, 0.5]) / np.sqrt(3), repeat=3):
        g = gradients(np.array(point))
        if pde == "poisson":
            result = result + g @ g.T / 8
            continue
        divergence = g.ravel()
        part = lam * np.outer(divergence, divergence) + mu * np.kron(g @ g.T, np.eye(3))
        part += mu * np.einsum("ai,bj->ajbi", g, g).reshape(24, 24)
        result = result + part / 8
    return result


def assemble(pde, cells, mat_type, comm):
    """The matrix of cells[d] elements along side d with the face x = 0 held, and a right-hand side without symmetry."""
    dof = 1 if pde == "poisson" else 3
    da = PETSc.DMDA().create([c + 1 for c in cells], dof=dof, stencil_type=PETSc.DMDA.StencilType.BOX, stencil_width=1,
                             comm=comm)
    da.setMatType(mat_type)
    da.setUniformCoordinates()  # BDDC picks corners by them
    a = da.createMatrix()
    element = element_matrix(pde)
    for corners in da.getElements():
        a.setValuesBlockedLocal(corners, corners, element, PETSc.InsertMode.ADD_VALUES)
    a.assemble()
    (x0, x1), (y0, y1), (z0, z1) = da.getRanges()
    held = []
    if x0 == 0:
        shape = (z1 - z0, y1 - y0, x1 - x0, dof)
        start = a.getOwnershipRange()[0]
        held = (start + np.arange(np.prod(shape)).reshape(shape)[:, :, 0, :].ravel()).astype(PETSc.IntType)
    b = a.createVecRight()
    b.setRandom()  # the same numbers in every run
    zeros = b.duplicate()
    a.zeroRowsColumns(held, 1.0, zeros, b)
    a.setOption(PETSc.Mat.Option.SPD, True)
    return a, b


def seconds(work):
    """What `work` takes: by the slowest rank, and of processor time by all of them."""
    world = PETSc.COMM_WORLD.tompi4py()
    world.barrier()
    start = time.perf_counter(), time.process_time()
    work()
    used = time.perf_counter() - start[0], time.process_time() - start[1]
    return np.array([world.allreduce(used[0], op=max), world.allreduce(used[1])])


def main():
    options = PETSc.Options()
    cells = [int(c) for c in options.getString("cells", "8").split(",")]
    comm = PETSc.COMM_SELF if options.getBool("alone", False) else PETSc.COMM_WORLD
    a, b = assemble(options.getString("pde", "elasticity"), cells * (3 // len(cells)),
                    options.getString("dm_mat_type", "aij"), comm)
    x, times = b.duplicate(), []
    for _ in range(options.getInt("rounds", 1)):
        ksp = PETSc.KSP().create(comm)
        ksp.setOperators(a)
        ksp.setType("cg")
        ksp.setTolerances(rtol=1e-8)
        ksp.setFromOptions()
        times.append((seconds(lambda: (ksp.setUp(), ksp.setUpOnBlocks())), seconds(lambda: ksp.solve(b, x))))
    residual = (b - a * x).norm() / b.norm()
    megabytes = PETSc.COMM_WORLD.tompi4py().allreduce(resource.getrusage(resource.RUSAGE_SELF).ru_maxrss / 1024, op=max)
    setup, solve = sorted(times, key=lambda pair: pair[0][0] + pair[1][0])[len(times) // 2]
    PETSc.Sys.Print(json.dumps({
        "unknowns": a.size[0], "iterations": ksp.getIterationNumber(), "reason": ksp.getConvergedReason(),
        "residual": residual, "setup": setup[0], "solve": solve[0], "processor": setup[1] + solve[1],
        "megabytes": megabytes}))


main()
