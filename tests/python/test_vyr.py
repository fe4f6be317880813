"""The Python package against dense answers, scipy, and the header of the library."""

import copy
import doctest
import gc
import pathlib
import pickle
import re
import signal
import subprocess
import sys
import threading
import warnings

import numpy as np
import pytest
import scipy.sparse.linalg
import vyr
from scipy import sparse
from vyr import _library, errors, plot

FORMATS = ["bsr", "coo", "csc", "csr", "dia", "dok", "lil"]
ROOT = pathlib.Path(__file__).parents[2]


def random_matrix(seed, n=40, indefinite=False):
    half = sparse.random(n, n, 0.1, random_state=seed)
    middle = np.where(np.arange(n) % 3 == 0, -4.0, 5.0) if indefinite else np.full(n, 6.0)
    return (half + half.T + sparse.diags(middle)).tocsc()


def grid(n):
    line = sparse.diags([-1.0, 2.0, -1.0], [-1, 0, 1], shape=(n, n))
    return sparse.kronsum(sparse.kronsum(line, line), line).tocsc()


@pytest.mark.parametrize("container", ["matrix", "array"])
@pytest.mark.parametrize("form", FORMATS)
@pytest.mark.parametrize("seed", range(3))
def test_every_format_type_and_form_of_the_right_hand_side_is_solved(form, container, seed):
    a = random_matrix(seed, indefinite=seed == 1)
    dense = a.toarray()
    given = getattr(sparse, f"{form}_{container}")(sparse.tril(a) if seed == 2 else a)
    if form in ("csc", "csr"):
        given.indices, given.indptr = given.indices.astype(np.int64), given.indptr.astype(np.int64)
    generator = np.random.default_rng(seed)
    wide = generator.random((2 * len(dense), 7))
    with vyr.factorize(given, lower=seed == 2) as f:
        for b in (wide[:40, 0].copy(), wide[::2, 1], wide[:40, :3], np.asfortranarray(wide)[:40, 1::2], wide[:40, :0]):
            before, out = b.copy(), np.full(b.shape, np.nan, order="F")
            assert np.allclose(f(b), np.linalg.solve(dense, b))
            assert f.solve(b, out=out) is out and np.array_equal(out, f.solve(b)) and np.array_equal(b, before)
            assert f.solve_with_info(b)[1].backward_error < 1e-14


@pytest.mark.parametrize("indefinite", [False, True])
@pytest.mark.parametrize("ordering", ["auto", "metis", "amd", "natural", "dissection", np.arange(40)[::-1]])
def test_factors_tell_what_dense_algebra_tells(ordering, indefinite):
    a = random_matrix(7, indefinite=indefinite)
    dense = a.toarray()
    f = vyr.factorize(a, ordering=ordering, threads=1)
    assert f.info.kind == ("indefinite" if indefinite else "spd")
    assert np.allclose((f.L @ f.D @ f.L.T).toarray(), dense[np.ix_(f.perm, f.perm)])
    eigenvalues = np.linalg.eigvalsh(dense)
    assert f.inertia == ((eigenvalues > 0).sum(), (eigenvalues < 0).sum(), 0)
    assert np.allclose(f.slogdet(), np.linalg.slogdet(dense)) and f.logdet() == f.slogdet()[1]
    assert 0.3 < f.condition() / np.linalg.cond(dense, 1) < 1.0001 and f.condition(equilibrated=True) > 1
    b = np.random.default_rng(1).random((40, 2))
    if not indefinite:
        assert np.allclose(f.half_solve(f.half_solve(b), transposed=True), f(b))
        assert np.array_equal(f.analysis.perm, f.perm)
    pivots, rows = plot.front_sizes(f.L.indptr)
    assert pivots.sum() == 40 and np.sum(pivots * rows - pivots * (pivots - 1) // 2) == f.L.nnz
    assert "MB" in repr(f.info) and f.analysis.info.n == 40


def test_an_analysis_serves_other_values_in_the_order_of_the_given_ones():
    for a, lower in ((random_matrix(3), False), (random_matrix(3).tocsr(), True)):
        b, other = np.ones(40), type(a)((a.data * 2, a.indices, a.indptr))
        with vyr.analyze(a, lower=lower) as analysis:
            x, half = (analysis.factorize(values).solve(b) for values in (None, a.data * 2))
            f = analysis.factorize()
        assert np.allclose(x, np.linalg.solve(a.toarray(), b)) and np.allclose(half, x / 2)
        assert np.array_equal(f.refactorize(other)(b), half) and np.array_equal(f.refactorize(a)(b), x)
        with pytest.raises(errors.PatternError):
            f.refactorize(sparse.identity(40, format="csc"))
        with pytest.raises(errors.NotFactorizedError):
            f(b)


def test_it_stands_in_for_scipy():
    a = grid(8)
    b = sparse.random(512, 3, 0.1, format="csc", random_state=1)
    assert np.allclose(vyr.spsolve(a, b).toarray(), scipy.sparse.linalg.spsolve(a, b).toarray())
    assert vyr.spsolve(a, b[:, 0]).shape == (512,)
    shifted = vyr.factorize(a - 1.3 * sparse.identity(512))
    wanted = np.sort(np.linalg.eigvalsh(a.toarray()))
    found = scipy.sparse.linalg.eigsh(a, 4, sigma=1.3, OPinv=shifted.as_linear_operator())[0]
    assert np.allclose(np.sort(found), np.sort(wanted[np.argsort(abs(wanted - 1.3))[:4]]))
    assert shifted.inertia.negative == (wanted < 1.3).sum()
    steps = []
    nearby = vyr.factorize(a + 0.01 * sparse.identity(512)).as_linear_operator()
    x, status = scipy.sparse.linalg.cg(a, np.ones(512), M=nearby, tol=1e-10, atol=0, callback=steps.append)
    assert status == 0 and len(steps) < 12 and np.allclose(a @ x, 1)


@pytest.mark.parametrize("matching", ["auto", "on", "off"])
@pytest.mark.parametrize("scaling", ["auto", "none", "norm", "matching"])
@pytest.mark.parametrize("static", [False, True])
def test_a_singular_saddle_point_is_solved_whatever_is_chosen(matching, scaling, static):
    rows = sparse.random(12, 40, 0.2, random_state=5).tolil()
    rows[11] = rows[0] + rows[1]
    a = sparse.bmat([[random_matrix(5), rows.T], [rows, None]], format="csc")
    chosen = {"pivoting": "static" if static else "delayed", "zero_pivots": True, "pivot_share": 0.1}
    f = vyr.factorize(a, kind="indefinite", matching=matching, scaling=scaling, **chosen)
    assert f.info.perturbed == static and (static or f.info.rank == 51 and f.inertia == (40, 11, 1))
    before = f.analysis.info
    known = matching != "off" or scaling == "matching"
    assert max(f.info.structural_rank, before.structural_rank) == (52 if known else -1)
    assert (before.pairs > 0) == (matching == "on")
    assert np.allclose(a @ f(a @ np.arange(52.0)), a @ np.arange(52.0))


A = random_matrix(0)
REFUSED = [
    (lambda: vyr.factorize(A.astype(complex)), TypeError, "complex"),
    (lambda: vyr.factorize(A.astype(bool)), TypeError, "bool"),
    (lambda: vyr.factorize(A[:, :9]), ValueError, "square"),
    (lambda: vyr.factorize(sparse.csc_matrix((3, 3))), ValueError, "entries"),
    (lambda: vyr.factorize(A * np.inf), errors.NotFiniteError, "infinite"),
    (lambda: vyr.factorize(sparse.tril(A)), errors.NotSymmetricError, "lower=True"),
    (lambda: vyr.factorize(A, kind="cholesky"), ValueError, "spd, indefinite"),
    (lambda: vyr.factorize(A, pivoting="bold"), ValueError, "delayed, static"),
    (lambda: vyr.factorize(A, ordering=[1, 2]), ValueError, "permutation"),
    (lambda: vyr.factorize(A, threads=-1), ValueError, "threads"),
    (lambda: vyr.factorize(A, directory="/nowhere/at/all"), OSError, "nowhere"),
    (lambda: vyr.solve(A, np.ones(39)), ValueError, "40 rows"),
    (lambda: vyr.solve(A, 1j * np.ones(40)), TypeError, "complex"),
    (lambda: vyr.solve(A, np.full(40, np.nan)), errors.NotFiniteError, "not a number"),
    (lambda: vyr.factorize(A).solve(np.ones(40), out=np.ones(41)), ValueError, "shape"),
    (lambda: vyr.analyze(A).factorize(np.ones(3)), ValueError, "3 values"),
    (lambda: vyr.factorize(A, progress=lambda *_: True), errors.CancelledError, ""),
    (lambda: vyr.factorize(A, progress=lambda *_: 1 / 0), ZeroDivisionError, ""),
    (lambda: vyr.factorize(A, keep_matrix=False).condition(), errors.VyrError, "not kept"),
    (lambda: vyr.solve(sparse.diags([1.0, 0, 1]), np.ones(3)), errors.SingularError, ""),
    (lambda: pickle.dumps(vyr.factorize(A)), TypeError, "process"),
    (lambda: copy.deepcopy(vyr.analyze(A)), TypeError, "copied"),
]


@pytest.mark.parametrize("call, kind, words", REFUSED)
def test_what_cannot_be_is_refused_with_a_sentence(call, kind, words):
    with pytest.raises(kind, match=words):
        call()


def test_a_pivot_that_fails_is_named_from_zero_and_a_tolerance_lets_differences_pass():
    with pytest.raises(np.linalg.LinAlgError) as caught:
        vyr.factorize(sparse.diags([1.0, 2, -3, 4]), kind="spd")
    assert caught.value.equation == 2 and caught.value.pivot == -3 and caught.value.status == -30
    uneven = A + sparse.csc_matrix(([1e-6], ([0], [39])), shape=(40, 40))
    with pytest.raises(errors.NotSymmetricError):
        vyr.factorize(uneven)
    assert np.allclose(vyr.solve(uneven, np.ones(40), tolerance=1e-3), vyr.solve(uneven.T, np.ones(40), tolerance=None))


def test_conversions_are_told_once_and_right():
    with warnings.catch_warnings(record=True) as told:
        warnings.simplefilter("always")
        for _ in range(2):
            x = vyr.solve(A.astype(np.float32), np.ones(40, dtype=np.float16))
    assert [str(warning.message).split()[3] for warning in told] == ["float32", "float16"]
    assert all(warning.filename == __file__ for warning in told)
    assert np.allclose(x, np.linalg.solve(A.astype(np.float32).toarray().astype(float), np.ones(40)))


def test_factors_in_files_go_with_the_factor(tmp_path):
    f = vyr.factorize(grid(12), directory=tmp_path, memory_limit=1e9)
    assert np.allclose(grid(12) @ f(np.ones(12**3)), 1) and len(list(tmp_path.iterdir())) == 1
    del f
    gc.collect()
    assert list(tmp_path.iterdir()) == []


def test_closing_waits_for_the_calls_at_work_and_ends_the_next():
    a = grid(16)
    f = vyr.factorize(a, refinements=200, backward_error_limit=0)
    errors_of_threads = []

    def solve():
        try:
            while True:
                assert np.allclose(a @ f(np.ones((16**3, 4))), 1)
        except ValueError as failure:
            errors_of_threads.append(str(failure))

    threads = [threading.Thread(target=solve) for _ in range(3)]
    for thread in threads:
        thread.start()
    f.close()
    for thread in threads:
        thread.join()
    assert errors_of_threads == ["the factor is closed"] * 3 and f.closed and "closed" in repr(f)


@pytest.mark.skipif(sys.platform == "win32", reason="no such signal")
def test_ctrl_c_ends_a_factorization():
    signal.signal(signal.SIGINT, signal.default_int_handler)  # which a shell may have left out in the background
    seen = []

    def interrupt(phase, fraction):
        seen.append(phase)
        if phase == "factorise":
            signal.raise_signal(signal.SIGINT)

    with pytest.raises(KeyboardInterrupt):
        vyr.factorize(grid(30), progress=interrupt)
    assert seen.count("factorise") <= 2 and np.allclose(grid(8) @ vyr.solve(grid(8), np.ones(512)), 1)


def test_structures_and_names_are_those_of_the_header():
    text = re.sub(r"/\*.*?\*/", "", (ROOT / "include" / "vyr" / "solver.h").read_text(), flags=re.DOTALL)
    types = {"size_t": "c_ulong", "int32_t": "c_int", "vyr_status": "c_int", "int64_t": "c_long", "double": "c_double"}
    for name in ("Options", "Matrix", "AnalysisFigures", "FactorFigures", "SolveFigures"):
        c_name = {"Options": "vyr_options", "Matrix": "vyr_matrix"}.get(name, "")
        c_name = c_name or "vyr_" + name.replace("Figures", "_info").lower()
        body = re.search(rf"typedef struct {c_name} \{{(.*?)\}}", text, re.DOTALL).group(1)
        members = []
        for kind, names in re.findall(r"\s*(?:const )?(\w+\*?)\s+([^;]*);", body):
            members += [(member.strip(), types.get(kind)) for member in names.split(",")]
        ours = getattr(_library, name)._fields_
        assert [field for field, _ in ours] == [member for member, _ in members]
        for (_, kind), (_, c_kind) in zip(ours, members):
            assert c_kind in (None, kind.__name__)
    statuses = {int(code) for code in re.findall(r"VYR_STATUS_\w+ = (-\d+)", text.replace("\n", ""))}
    statuses |= {int(code) for code in re.findall(r"VYR_STATUS_\w+\s*=\s*(-\d+)", text)}
    assert statuses == set(errors.STATUSES)
    for enum, prefix, names in (
        (_library.Kind, "KIND", {"spd": "positive", "auto": "automatic"}),
        (_library.Ordering, "ORDERING", {"auto": "automatic"}),
        (_library.Matching, "MATCHING", {"auto": "automatic"}),
        (_library.Scaling, "SCALING", {"auto": "automatic"}),
        (_library.Pivoting, "PIVOTING", {}),
        (_library.Part, "PART", {}),
        (_library.Ability, "ABILITY", {}),
    ):
        known = {(names.get(member.name, member.name).upper(), str(member.value)) for member in enum}
        declared = set(re.findall(rf"VYR_{prefix}_(\w+) = (\d+)", text))
        assert known == declared or enum is _library.Part and known < declared


def test_the_versions_are_shown_and_a_missing_library_is_told(capsys):
    vyr.show_versions()
    assert _library.lib_path in capsys.readouterr().out
    code = "import os; os.environ['VYR_LIBRARY'] = '/nowhere.so'; import vyr"
    run = subprocess.run([sys.executable, "-c", code], capture_output=True, text=True)
    assert run.returncode == 1 and "libvyrsolver1" in run.stderr and "/nowhere.so" in run.stderr


def test_the_page_shows_what_happens():
    page = (ROOT / "docs" / "python.md").read_text().replace("```", "")
    examples = doctest.DocTestParser().get_doctest(page, {}, "python.md", None, 0)
    assert len(examples.examples) > 20 and doctest.DocTestRunner().run(examples).failed == 0
