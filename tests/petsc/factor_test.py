"""The solver type "vyr" inside PETSc, held against dense matrices. Run on any number of ranks."""
import os
import sys
import tempfile
import unittest

import numpy as np
import petsc4py

petsc4py.init(sys.argv[:1])
from petsc4py import PETSc  # noqa: E402

SEED = int(os.environ.get("VYR_TEST_SEED", "1"))
PC_FAILED = PETSc.KSP.ConvergedReason.DIVERGED_PCSETUP_FAILED


def matrix(dense, kind="seqaij", bs=1):
    """A PETSc matrix of the non-zero blocks of a dense one."""
    n = dense.shape[0] // bs
    a = PETSc.Mat().create(PETSc.COMM_SELF)
    a.setSizes(dense.shape, bs)
    a.setType(kind)
    a.setUp()
    a.setOption(PETSc.Mat.Option.NEW_NONZERO_ALLOCATION_ERR, False)
    for i in range(n):
        for j in range(i if kind == "seqsbaij" else 0, dense.shape[1] // bs):
            block = dense[i * bs:(i + 1) * bs, j * bs:(j + 1) * bs]
            if i == j or block.any():
                a.setValuesBlocked([i], [j], block)
    a.assemble()
    return a


def random_symmetric(rng, n, bs, definite):
    """Sparse, of blocks; definite, or of both signs with zeros on the diagonal."""
    pattern = np.kron(rng.random((n, n)) < 3 / n, np.ones((bs, bs)))
    dense = pattern * rng.standard_normal((n * bs, n * bs))
    dense = dense + dense.T
    shift = np.abs(dense).sum(axis=1) + 0.1 if definite else np.where(rng.random(n * bs) < 0.3, 0, 3.0) * \
        rng.choice([-1, 1], n * bs)
    np.fill_diagonal(dense, shift)
    return dense


def solver(a, pc_type="cholesky", options=(), prefix=""):
    """A KSP that does nothing but solve with VYR's factor."""
    store = PETSc.Options()
    for name, value in options:
        store[prefix + name] = value
    ksp = PETSc.KSP().create(a.comm)
    ksp.setOptionsPrefix(prefix)
    ksp.setOperators(a)
    ksp.setType("preonly")
    ksp.pc.setType(pc_type)
    ksp.pc.setFactorSolverType("vyr")
    ksp.setFromOptions()
    return ksp


def shown(ksp):
    """What PETSc's view says of the factor."""
    with tempfile.NamedTemporaryFile("r") as file:
        viewer = PETSc.Viewer().createASCII(file.name, comm=PETSc.COMM_SELF)
        viewer.pushFormat(PETSc.Viewer.Format.ASCII_INFO)
        ksp.pc.getFactorMatrix().view(viewer)
        viewer.destroy()
        return file.read()


class Factors(unittest.TestCase):
    def check_factor(self, factor, dense, rng):
        n = dense.shape[0]
        b = rng.standard_normal((n, 3))
        scale = np.abs(np.linalg.inv(dense)).sum(axis=1).max() * np.abs(b).max()
        expected = np.linalg.solve(dense, b)
        right, left, middle = (PETSc.Vec().createWithArray(v, comm=PETSc.COMM_SELF)
                               for v in (b[:, 0].copy(), np.zeros(n), np.zeros(n)))
        for solve in (factor.solve, factor.solveTranspose):
            solve(right, left)
            np.testing.assert_allclose(left.array, expected[:, 0], atol=1e-10 * scale)
        factor.solveForward(right, middle)
        factor.solveBackward(middle, left)
        np.testing.assert_allclose(left.array, expected[:, 0], atol=1e-6 * scale)
        rhs = PETSc.Mat().createDense(b.shape, array=b.copy(), comm=PETSc.COMM_SELF)
        result = rhs.duplicate()
        factor.matSolve(rhs, result)
        np.testing.assert_allclose(result.getDenseArray(), expected, atol=1e-10 * scale)
        signs = np.sign(np.linalg.eigvalsh(dense))
        self.assertEqual(factor.getInertia(), tuple(int((signs == s).sum()) for s in (-1, 0, 1)))

    def test_every_type_kind_and_block_size_solves_while_all_other_factors_live(self):
        rng = np.random.default_rng(SEED)
        alive = []
        for kind, bs in (("seqaij", 1), ("seqaij", 2), ("seqbaij", 1), ("seqbaij", 3), ("seqsbaij", 1), ("seqsbaij", 2)):
            for definite in (True, False):
                for pc_type in ("cholesky", "lu"):
                    with self.subTest(seed=SEED, kind=kind, bs=bs, definite=definite, pc_type=pc_type):
                        dense = random_symmetric(rng, 12, bs, definite)
                        a = matrix(dense, kind, bs)
                        ksp = solver(a, pc_type)
                        ksp.setUp()
                        self.check_factor(ksp.pc.getFactorMatrix(), dense, rng)
                        a.scale(-2.0 if not definite else 2.0)  # other values, same pattern
                        ksp.setOperators(a)
                        ksp.setUp()
                        self.assertIn("analyses 1, factorizations 2", shown(ksp))
                        alive.append((ksp, a.getValues(range(a.size[0]), range(a.size[1]))
                                      if kind != "seqsbaij" else (2.0 if definite else -2.0) * dense))
        smallest = np.array([[-4.0]])
        alive.append((solver(matrix(smallest)), smallest))
        alive[-1][0].setUp()
        for ksp, dense in alive:
            self.check_factor(ksp.pc.getFactorMatrix(), dense, rng)

    def test_options_reach_the_factor(self):
        dense = random_symmetric(np.random.default_rng(SEED), 20, 1, True)
        with tempfile.TemporaryDirectory() as folder:
            ksp = solver(matrix(dense), prefix="opt_", options=[
                ("mat_vyr_kind", "indefinite"), ("mat_vyr_ordering", "dissection"), ("mat_vyr_directory", folder)])
            ksp.setUp()
            for text in ("L D L^T", "ordering dissection", "threads 1"):
                self.assertIn(text, shown(ksp))
            self.assertTrue(os.listdir(folder))
            self.check_factor(ksp.pc.getFactorMatrix(), dense, np.random.default_rng(SEED))
            ksp.destroy()
            self.assertFalse(os.listdir(folder))


class Refusals(unittest.TestCase):
    def test_a_matrix_that_is_not_square_or_symmetric_is_refused_unless_its_triangle_is_meant(self):
        dense = np.diag([4.0, 5.0, 6.0])
        dense[0, 2] = 1.0
        for given, kind in ((dense, "seqaij"), (dense, "seqbaij"), (np.ones((2, 3)), "seqaij")):
            with self.assertRaises(PETSc.Error) as refused:
                solver(matrix(given, kind), "lu").setUp()
            self.assertTrue(refused.exception.ierr == 62 or given is not dense)
        ksp = solver(matrix(dense), "lu", [("mat_vyr_assume_symmetric", 1)], "meant_")
        ksp.setUp()
        dense[2, 0] = 1.0
        Factors.check_factor(self, ksp.pc.getFactorMatrix(), dense, np.random.default_rng(SEED))

    def test_failed_pivots_are_a_reason_of_the_ksp(self):
        empty = PETSc.Mat().createAIJ(2, nnz=1, comm=PETSc.COMM_SELF)
        empty.assemble()
        zeros = np.zeros((2, 2))
        for a, spd in ((matrix(np.ones((3, 3))), False), (matrix(np.diag([1.0, -1.0])), True), (matrix(zeros), False),
                       (empty, False)):
            a.setOption(PETSc.Mat.Option.SPD, spd)
            ksp = solver(a)
            x, b = a.createVecs()
            b.set(1.0)
            ksp.solve(b, x)
            self.assertEqual(ksp.getConvergedReason(), PC_FAILED)
            a.shift(5.0)
            a.setOption(PETSc.Mat.Option.SPD, True)
            ksp.solve(b, x)
            self.assertGreater(ksp.getConvergedReason(), 0)

    def test_a_solve_above_the_limit_of_the_backward_error_is_an_error(self):
        dense = random_symmetric(np.random.default_rng(SEED), 20, 1, True)
        ksps = [solver(matrix(dense), "cholesky", [("mat_vyr_backward_error_limit", limit)], f"limit{limit}_")
                for limit in (1e-12, 1e-30)]
        x, b = ksps[0].getOperators()[0].createVecs()
        b.setRandom()
        ksps[0].solve(b, x)
        with self.assertRaises(PETSc.Error) as refused:
            ksps[1].solve(b, x)
        self.assertEqual(refused.exception.ierr, 91)  # not converged


class Ranks(unittest.TestCase):
    """Block Jacobi: each rank has its own piece."""

    def iterations(self, n, first=None, type_="vyr", load=1.0):
        """Solves a line of springs; `first` replaces the diagonal of rank 0's rows, `load` what pulls its first one."""
        a = PETSc.Mat().createAIJ(n, nnz=3, comm=PETSc.COMM_WORLD)
        low, high = a.getOwnershipRange()
        for i in range(low, high):
            for j in (i - 1, i, i + 1):
                if 0 <= j < n:
                    a[i, j] = -1.0 if i != j else 2.0
            if first is not None and PETSC_RANK == 0:
                a[i, i] = first
        a.assemble()
        store = PETSc.Options()
        store["ranks_sub_pc_type"] = "cholesky"
        store["ranks_sub_pc_factor_mat_solver_type"] = type_
        ksp = PETSc.KSP().create(a.comm)
        ksp.setOptionsPrefix("ranks_")
        ksp.setOperators(a)
        ksp.setType("gmres")
        ksp.setTolerances(rtol=1e-10)
        ksp.pc.setType("bjacobi")
        ksp.setFromOptions()
        x, b = a.createVecs()
        b.set(1.0)
        if PETSC_RANK == 0:
            b[0] = load
        b.assemble()
        ksp.solve(b, x)
        return ksp.getConvergedReason(), ksp.getIterationNumber(), ksp.getResidualNorm()

    def test_pieces_of_any_size_take_as_many_iterations_as_with_another_solver(self):
        for n in (1, 2, 3, 50):  # ranks without a row, with one, with more
            (reason, count, residual), other = (self.iterations(n, type_=type_) for type_ in ("vyr", "mumps"))
            self.assertEqual((reason > 0, count), (other[0] > 0, other[1]))
            self.assertAlmostEqual(residual, other[2], delta=1e-9)

    def test_the_failure_of_one_rank_is_the_reason_on_every_rank(self):
        self.assertEqual(self.iterations(4 * PETSc.COMM_WORLD.size, first=float("nan"))[0], PC_FAILED)

    def test_a_load_that_is_not_finite_is_the_reason_on_every_rank(self):
        self.assertEqual(self.iterations(4 * PETSc.COMM_WORLD.size, load=float("nan"))[0],
                         PETSc.KSP.ConvergedReason.DIVERGED_NANORINF)


PETSC_RANK = PETSc.COMM_WORLD.rank
PETSc.Sys.pushErrorHandler("python")  # refusals are expected: no trace on the terminal
unittest.main(verbosity=2 if PETSC_RANK == 0 else 0)
