#!/usr/bin/python3
"""Runs brick.py with each local solver inside each parallel method, on 1, 2 and 4 ranks.

    compare.py [--cells 16] [--rounds 3] [--methods bddc,asm] [--json FILE] [--check]

The iteration counts and the residuals of a method must not depend on the solver of its pieces: where they do, or the
first solver fails, the exit status is 1. With --check a small problem is solved once. Times are in seconds, set-up and
solution together: the median of rounds in which the solvers take turns; behind a stroke the processor time of all ranks.
"""
import argparse
import json
import os
import pathlib
import subprocess
import sys

BRICK = pathlib.Path(__file__).with_name("brick.py")
MPIRUN = ["mpirun", "--allow-run-as-root", "--oversubscribe"]


def factor(*prefixes):
    """Options that give a direct solver to each piece; @ stands for the solver."""
    return [part for p in prefixes for part in (f"-{p}pc_type", "cholesky", f"-{p}pc_factor_mat_solver_type", "@")]


METHODS = {
    "bjacobi": ["-pc_type", "bjacobi", *factor("sub_")],
    "asm": ["-pc_type", "asm", "-pc_asm_type", "basic", "-pc_asm_overlap", "2", *factor("sub_")],
    "bddc": ["-dm_mat_type", "is", "-pc_type", "bddc",
             *factor("pc_bddc_dirichlet_", "pc_bddc_neumann_", "pc_bddc_coarse_redundant_")],
    "multigrid": ["-pc_type", "gamg", "-pc_gamg_coarse_eq_limit", "3000", "-mg_coarse_pc_type", "redundant",
                  *factor("mg_coarse_redundant_")],
}


def run(ranks, pde, method, solver, cells):
    """What brick.py says, or its complaint."""
    options = [solver if part == "@" else part for part in METHODS[method]]
    command = [*MPIRUN, "-n", str(ranks), "/usr/bin/python3", str(BRICK), "-pde", pde, "-cells", str(cells),
               *options]
    done = subprocess.run(command, env=os.environ | {"OMP_NUM_THREADS": "1"}, capture_output=True, text=True,
                          timeout=280)
    lines = [line for line in done.stdout.splitlines() if line.startswith("{")]
    return json.loads(lines[0]) if lines else {"complaint": (done.stderr or done.stdout)[-2000:]}


def median(runs):
    """The run with the median time, or the first complaint."""
    bad = [run for run in runs if "complaint" in run]
    return bad[0] if bad else sorted(runs, key=lambda run: run["setup"] + run["solve"])[len(runs) // 2]


def unlike(found):
    """Whether the first solver failed, nobody else succeeded, or one that did solved another problem."""
    first, others = found[0], [other for other in found[1:] if other.get("reason", 0) > 0]
    if first.get("reason", 0) <= 0 or not others:
        return True
    return any(first["iterations"] != other["iterations"]
               or abs(first["residual"] - other["residual"]) > 1e-3 * first["residual"] + 1e-11 for other in others)


def shown(result):
    if result.get("reason", 0) <= 0:
        return f"{'fails':>14}"
    return f"{result['setup'] + result['solve']:7.3f} /{result['processor']:5.2f}"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--cells", type=int, default=16)
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--ranks", default="1,2,4")
    parser.add_argument("--methods", default=",".join(METHODS))
    parser.add_argument("--pdes", default="poisson,elasticity")
    parser.add_argument("--solvers", default="vyr,mumps,cholmod")
    parser.add_argument("--json")
    parser.add_argument("--check", action="store_true")
    given = parser.parse_args()
    if given.check:
        given.cells, given.rounds, given.solvers = 6, 1, "vyr,mumps"
    solvers, results, wrong = given.solvers.split(","), [], 0
    print(f"{'':32}{'unknowns':>9} {'iterations':>10}" + "".join(f"{s:>14}" for s in solvers))
    for pde in given.pdes.split(","):
        for method in given.methods.split(","):
            for ranks in map(int, given.ranks.split(",")):
                rounds = [[run(ranks, pde, method, s, given.cells) for s in solvers] for _ in range(given.rounds)]
                found = [median(runs) for runs in zip(*rounds)]
                results += [{"pde": pde, "method": method, "ranks": ranks, "solver": s, **r}
                            for s, r in zip(solvers, found)]
                bad = unlike(found)
                wrong += bad
                print(f"{pde:11} {method:10} {ranks} ranks  {found[0].get('unknowns', 0):9} "
                      f"{found[0].get('iterations', -1):10}" + "".join(map(shown, found)) + "  DIFFERENT" * bad,
                      flush=True)
                if bad:
                    print(json.dumps(found, indent=1))
    if given.json:
        pathlib.Path(given.json).write_text(json.dumps(results, indent=1) + "\n")
    return 1 if wrong else 0


sys.exit(main())
