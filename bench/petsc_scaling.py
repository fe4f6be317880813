#!/usr/bin/python3
"""How BDDC with VYR's local factors would grow: measure here on 1, 2 and 4 ranks, calculate for up to 10,000.

    petsc_scaling.py --measure          write bench/results/petsc-scaling.json (a minute; wants the plug-in, see
                                        docs/plugins.md, and an idle machine)
    petsc_scaling.py [MACHINE]          print the model beside the measurements, then the table for a machine; draw
                                        docs/figures/petsc_scaling.svg
"""
import argparse
import json
import math
import os
import pathlib
import re
import subprocess

import numpy as np

ROOT = pathlib.Path(__file__).resolve().parent.parent
RESULTS = ROOT / "bench/results/petsc-scaling.json"
FIGURE = ROOT / "docs/figures/petsc_scaling.svg"
BDDC = ["-dm_mat_type", "is", "-pc_type", "bddc"] + [part for piece in ("dirichlet_", "neumann_", "coarse_redundant_")
        for part in (f"-pc_bddc_{piece}pc_type", "cholesky", f"-pc_bddc_{piece}pc_factor_mat_solver_type", "vyr")]
# A factorization and so many solves, each with a product by the matrix, as in an iteration.
SOLVES = 12
DIRECT = ["-alone", "-pc_type", "cholesky", "-pc_factor_mat_solver_type", "vyr", "-ksp_type", "richardson",
          "-ksp_norm_type", "none", "-ksp_max_it", str(SOLVES)]
BYTES = 8.0
# Unknowns a piece adds to the coarse problem, three each for one corner and three edges; and how many coarse functions
# it has, all around, 8 corners and 12 edges.
COARSE_PER_RANK, FUNCTIONS = 12, 60
# docs/performance.md, "How it grows": time and memory of cubes of up to 512,000 unknowns.
FACTOR_EXPONENT, MEMORY_EXPONENT = 1.84, 1.26

# A machine: speed of a core in factorizations and in solves (this one's: 1), gigabytes a rank, seconds a message,
# bytes a second between ranks.
MACHINES = {
    "cluster": {"factor_speed": 1.0, "solve_speed": 0.5, "gigabytes": 4.0, "latency": 2e-6, "bandwidth": 1e9},
    "here": {"factor_speed": 1.0, "solve_speed": 1.0, "gigabytes": 11.0, "latency": 1e-6, "bandwidth": 5e9},
}


def run(ranks, cells, options, rounds=3):
    """brick.py's figures; the solves with each factor of the first rank; per call of the preconditioner the messages a
    rank and their mean bytes. cells: of each side, or "x,y,z"."""
    command = ["mpirun", "--allow-run-as-root", "--oversubscribe", "-n", str(ranks), "/usr/bin/python3",
               str(ROOT / "examples/petsc/brick.py"), "-cells", str(cells), "-rounds", str(rounds), "-log_view",
               "-ksp_view", *options]
    text = subprocess.run(command, env=os.environ | {"OMP_NUM_THREADS": "1"}, capture_output=True, text=True,
                          check=True).stdout
    found = json.loads(re.search(r"^\{.*\}$", text, re.MULTILINE).group(0))
    apply = re.search(r"^PCApply\s+(.*)$", text, re.MULTILINE)
    if apply:
        calls, numbers = int(apply.group(1).split()[0]), re.findall(r"\d\.\de[+-]\d+", apply.group(1))
        found |= {"messages": float(numbers[-3]) / calls / ranks, "message_bytes": float(numbers[-2])}
    held = re.search(r"megabytes in memory ([\d.]+)", text)
    solves = [int(count) for count in re.findall(r"factorizations \d+, solves (\d+)", text)]
    return {"ranks": ranks, "cells": cells, "factor_megabytes": float(held.group(1)) if held else 0, "solves": solves,
            **found}


def measure():
    # Boxes of 16 x 16 x 16 elements for each number of ranks: a piece with its faces, and its inside.
    boxes = {1: ("16,16,16", "16,16,16"), 2: ("16,16,8", "16,16,7"), 4: ("16,8,8", "16,7,7")}
    return {
        "local": [run(1, cells, DIRECT) for cells in (8, 12, 16, 20)],
        "pieces": [{"ranks": ranks, "piece": run(1, piece, DIRECT), "interior": run(1, inside, DIRECT),
                    "together": run(ranks, piece, DIRECT)} for ranks, (piece, inside) in boxes.items()],
        "bddc": [run(ranks, 16, BDDC) for ranks in boxes],
        "iterations": [run(ranks, cells, BDDC, 1) for ranks, cells in ((8, 8), (27, 12))],
    }


class Law:
    """Cost of a piece of n unknowns: c n^e fitted to measured sizes, and from the largest on with the exponent that
    docs/performance.md found for large cubes."""

    def __init__(self, n, cost, far_exponent):
        self.exponent, logarithm = np.polyfit(np.log(n), np.log(cost), 1)
        self.factor, self.known, self.far_exponent = math.exp(logarithm), max(n), far_exponent

    def __call__(self, n):
        near = self.factor * min(max(n, 1.0), self.known) ** self.exponent
        return near * max(n / self.known, 1.0) ** self.far_exponent


class Cube:
    """Costs of a piece of h^3 elements, three unknowns a node, and of its inside, by the laws."""

    def __init__(self, model, h):
        n, inside = 3 * (h + 1) ** 3, 3 * max(h - 1, 1) ** 3
        self.faces, self.functions = 6 * (h + 1) ** 2, FUNCTIONS
        self.factors = model.factor(n) + model.factor(inside)
        self.solve, self.solve_inside = model.solve(n), model.solve(inside)
        self.bytes = model.memory(n) + model.memory(inside)
        self.turns = {"setup": 1.0, "solve": 1.0}


class Box:
    """Costs of a measured piece; turns: how much longer it takes when all ranks of the run are at work."""

    def __init__(self, pieces, run):
        piece, inside, together = (pieces[name] for name in ("piece", "interior", "together"))
        self.faces = 6 * (piece["unknowns"] / 3) ** (2 / 3)
        self.functions = run["solves"][1] - run["iterations"] - 2  # the second factor is the piece's
        self.factors = piece["setup"] + inside["setup"]
        self.solve, self.solve_inside = piece["solve"] / SOLVES, inside["solve"] / SOLVES
        self.bytes = 2**20 * (piece["factor_megabytes"] + inside["factor_megabytes"])
        self.turns = {phase: together[phase] / piece[phase] for phase in ("setup", "solve")}


class Model:
    """Seconds and bytes a rank."""

    def __init__(self, data):
        local = data["local"]
        n = [run["unknowns"] for run in local]
        self.factor = Law(n, [run["setup"] for run in local], FACTOR_EXPONENT)
        self.solve = Law(n, [run["solve"] / SOLVES for run in local], MEMORY_EXPONENT)
        self.memory = Law(n, [run["factor_megabytes"] * 2**20 for run in local], MEMORY_EXPONENT)
        # Condition of BDDC: (1 + log H/h)^2; conjugate gradients take its root.
        self.steps = np.mean([r["iterations"] / (1 + math.log((r["unknowns"] / 3 / r["ranks"]) ** (1 / 3)))
                              for r in data["iterations"]])
        # Two numbers for what PETSc does, in solves with the piece: a coarse function, and an iteration beside its
        # solves. From the runs on 2 and 4 ranks.
        self.function = self.beside = 0.0
        boxes = [(run, Box(pieces, run)) for run, pieces in zip(data["bddc"], data["pieces"]) if run["ranks"] > 1]
        left = [(run, box, self.costs(run["ranks"], box, run["iterations"], MACHINES["here"])) for run, box in boxes]
        solve = [box.turns["solve"] * box.solve for _, box in boxes]
        self.function = np.mean([(run["setup"] - cost["setup"]) / each / box.functions
                                 for (run, box, cost), each in zip(left, solve)])
        self.beside = np.mean([(run["solve"] - cost["solve"]) / each / run["iterations"]
                               for (run, box, cost), each in zip(left, solve)])

    def costs(self, ranks, piece, iterations, machine):
        factors = piece.turns["setup"] / machine["factor_speed"]
        solves = piece.turns["solve"] / machine["solve_speed"]
        if ranks == 1:  # no boundary: BDDC factorises the matrix twice and solves five times
            return {"setup": factors * piece.factors, "solve": 5 * solves * piece.solve}
        coarse = COARSE_PER_RANK * ranks
        # A piece: two factors, its coarse functions; in each iteration a solve with either factor, and two or three more.
        local_setup = factors * piece.factors + solves * self.function * piece.functions * piece.solve
        local_solve = solves * ((iterations + 2) * piece.solve + (iterations + 3) * piece.solve_inside
                                + iterations * self.beside * piece.solve)
        # The coarse problem: the same on every rank.
        coarse_setup = factors * self.factor(coarse)
        coarse_solve = (iterations + 2) * solves * self.solve(coarse)
        # Faces to the neighbours, the coarse vector to everybody, three dot products.
        depth = math.log2(ranks)
        faces = min(ranks - 1, 26) * machine["latency"] + 3 * piece.faces * BYTES / machine["bandwidth"]
        gather = depth * machine["latency"] + BYTES * coarse / machine["bandwidth"]
        messages = iterations * (3 * faces + gather + 3 * depth * machine["latency"])
        return {
            "setup": local_setup + coarse_setup, "solve": local_solve + coarse_solve + messages,
            "iterations": iterations, "local": local_setup + local_solve, "coarse": coarse_setup + coarse_solve,
            "messages": messages, "gigabytes": (piece.bytes + self.memory(coarse)) / 1e9,
        }

    def cubes(self, unknowns, ranks, machine):
        """The costs with a cube on each of many ranks."""
        h = (unknowns / 3 / ranks) ** (1 / 3)
        return self.costs(ranks, Cube(self, h), self.steps * (1 + math.log(h)), machine)


def print_measured(model, data):
    print("| ranks | turns | set-up measured | model | solve measured | model |\n|---:|---:|---:|---:|---:|---:|")
    for run, pieces in zip(data["bddc"], data["pieces"]):
        box = Box(pieces, run)
        model_run = model.costs(run["ranks"], box, run["iterations"], MACHINES["here"])
        print(f"| {run['ranks']} | {box.turns['setup']:.2f}, {box.turns['solve']:.2f} | {run['setup']:.3f} | {model_run['setup']:.3f} | {run['solve']:.3f} | "
              f"{model_run['solve']:.3f} |")


def print_table(model, machine):
    print("\n| unknowns | ranks | iterations | set-up s | solve s | of all: local | coarse | messages | GB a rank |\n"
          "|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    for unknowns in (1e7, 1e8, 1e9):
        for ranks in (10, 100, 1000, 10000):
            c = model.cubes(unknowns, ranks, machine)
            total = c["setup"] + c["solve"]
            full = " (too much)" if c["gigabytes"] > machine["gigabytes"] else ""
            print(f"| 10^{math.log10(unknowns):.0f} | {ranks} | {c['iterations']:.0f} | {c['setup']:.3g} | {c['solve']:.3g} | "
                  f"{c['local'] / total:.0%} | {c['coarse'] / total:.0%} | {c['messages'] / total:.0%} | "
                  f"{c['gigabytes']:.3g}{full} |")


def draw(model, machine):
    import matplotlib

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt

    figure, (left, right) = plt.subplots(1, 2, figsize=(9, 3.6))
    ranks = np.unique(np.logspace(1, 4, 40).astype(int))
    for unknowns in (1e7, 1e8, 1e9):
        costs = [model.cubes(unknowns, int(r), machine) for r in ranks]
        name = f"$10^{math.log10(unknowns):.0f}$ unknowns"
        left.loglog(ranks, [c["setup"] + c["solve"] for c in costs], label=name)
        right.loglog(ranks, [c["gigabytes"] for c in costs], label=name)
    right.axhline(machine["gigabytes"], color="grey", linestyle=":", label="memory of a rank")
    left.set(xlabel="ranks", ylabel="seconds, set-up and solve")
    right.set(xlabel="ranks", ylabel="GB a rank")
    right.legend()
    figure.tight_layout()
    figure.savefig(FIGURE)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("machine", nargs="?", default="cluster", choices=MACHINES)
    parser.add_argument("--measure", action="store_true")
    given = parser.parse_args()
    if given.measure:
        RESULTS.write_text(json.dumps(measure(), indent=1) + "\n")
    data = json.loads(RESULTS.read_text())
    model = Model(data)
    print(f"factor n^{model.factor.exponent:.2f}, solve n^{model.solve.exponent:.2f}, memory "
          f"n^{model.memory.exponent:.2f} up to {model.factor.known} unknowns; a coarse function costs {model.function:.2f} solves, "
          f"an iteration {model.beside:.2f} beside its own; iterations {model.steps:.1f} (1 + log h)\n")
    print_measured(model, data)
    print_table(model, MACHINES[given.machine])
    draw(model, MACHINES[given.machine])


main()
