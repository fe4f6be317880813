"""Sag of a square membrane under unit load, with FEniCSx. PETSc's options choose the solver."""
import sys

import numpy as np
import ufl
from dolfinx import fem, mesh
from dolfinx.fem.petsc import assemble_matrix, assemble_vector, set_bc
from mpi4py import MPI
from petsc4py import PETSc

domain = mesh.create_unit_square(MPI.COMM_WORLD, 64, 64)
space = fem.FunctionSpace(domain, ("Lagrange", 2))
u, v = ufl.TrialFunction(space), ufl.TestFunction(space)
stiffness = fem.form(ufl.inner(ufl.grad(u), ufl.grad(v)) * ufl.dx)
load = fem.form(fem.Constant(domain, 1.0) * v * ufl.dx)

domain.topology.create_connectivity(1, 2)
edge = fem.locate_dofs_topological(space, 1, mesh.exterior_facet_indices(domain.topology))
held = fem.dirichletbc(PETSc.ScalarType(0), edge, space)
a = assemble_matrix(stiffness, bcs=[held])
a.assemble()
b = assemble_vector(load)
b.ghostUpdate(addv=PETSc.InsertMode.ADD, mode=PETSc.ScatterMode.REVERSE)
set_bc(b, [held])

ksp = PETSc.KSP().create(domain.comm)
ksp.setOperators(a)
ksp.setTolerances(rtol=1e-10)
ksp.setFromOptions()
sag = fem.Function(space)
ksp.solve(b, sag.vector)

# The series of sines of the middle of the square.
odd = np.arange(1, 200, 2)
signs = np.where(odd % 4 == 1, 1, -1)
known = 16 / np.pi**4 * (np.outer(signs, signs) / np.outer(odd, odd) / np.add.outer(odd**2, odd**2)).sum()
found = sag.vector.max()[1]
PETSc.Sys.Print(f"reason {ksp.getConvergedReason()}, iterations {ksp.getIterationNumber()}")
PETSc.Sys.Print(f"sag of the middle {found:.8f}, by the series {known:.8f}")
sys.exit(0 if ksp.getConvergedReason() > 0 and abs(found / known - 1) < 1e-6 else 1)
