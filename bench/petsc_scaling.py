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
DIRECT = ["-pc_type", "cholesky", "-pc_factor_mat_solver_type", "vyr", "-ksp_type", "preonly"]
BYTES = 8.0
# Unknowns a piece adds to the coarse problem, three each for one corner and three edges.
COARSE_PER_RANK = 12
# docs/performance.md, "How it grows": time and memory of cubes of up to 512,000 unknowns.
FACTOR_EXPONENT, MEMORY_EXPONENT = 1.84, 1.26

# A machine: speed of a core in factorizations and in solves (this one's: 1), gigabytes a rank, seconds a message,
# bytes a second between ranks.
MACHINES = {
    "cluster": {"factor_speed": 1.0, "solve_speed": 0.5, "gigabytes": 4.0, "latency": 2e-6, "bandwidth": 1e9},
    "here": {"factor_speed": 1.0, "solve_speed": 1.0, "gigabytes": 11.0, "latency": 1e-6, "bandwidth": 5e9},
}


def run(ranks, cells, options, rounds=3):
    """brick.py's figures, and per call of the preconditioner the messages a rank and their mean bytes."""
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
    return {"ranks": ranks, "cells": cells, "factor_megabytes": float(held.group(1)) if held else 0, **found}


def measure():
    return {
        "local": [run(1, cells, DIRECT) for cells in (8, 12, 16, 20)],
        "bddc": [run(ranks, 16, BDDC) for ranks in (1, 2, 4)],
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


class Model:
    """Seconds and bytes a rank; every piece is a cube of h^3 elements, three unknowns a node."""

    def __init__(self, data):
        n = [run["unknowns"] for run in data["local"]]
        self.factor = Law(n, [run["setup"] for run in data["local"]], FACTOR_EXPONENT)
        self.solve = Law(n, [run["solve"] for run in data["local"]], MEMORY_EXPONENT)
        self.memory = Law(n, [run["factor_megabytes"] * 2**20 for run in data["local"]], MEMORY_EXPONENT)
        # Condition of BDDC: (1 + log H/h)^2; conjugate gradients take its root.
        self.steps = np.mean([r["iterations"] / (1 + math.log(self.side(r["unknowns"], r["ranks"])))
                              for r in data["iterations"]])
        # What PETSc does beside the factors, as a multiple of their time: from the run on 4 ranks.
        self.setup_factor = self.solve_factor = 1.0
        four = data["bddc"][-1]
        alone = self.costs(four["unknowns"], 4, MACHINES["here"], four["iterations"], cores=2)
        self.setup_factor = four["setup"] / alone["setup"]
        self.solve_factor = four["solve"] / alone["solve"]

    @staticmethod
    def side(unknowns, ranks):
        return (unknowns / 3 / ranks) ** (1 / 3)

    def costs(self, unknowns, ranks, machine, iterations=None, cores=None):
        if ranks == 1:  # no boundary: BDDC factorises the matrix twice and solves four times
            return {"setup": 2 * self.factor(unknowns) / machine["factor_speed"], "iterations": 0,
                    "solve": 4 * self.solve(unknowns) / machine["solve_speed"]}
        h = self.side(unknowns, ranks)
        piece, interior, coarse = 3 * (h + 1) ** 3, 3 * max(h - 1, 1) ** 3, COARSE_PER_RANK * ranks
        share = max(1.0, ranks / cores) if cores else 1.0  # ranks that take turns on a core
        iterations = self.steps * (1 + math.log(h)) if iterations is None else iterations
        # A piece: two factors, a solve for each coarse function; in each iteration one solve and two of the interior.
        setup_time = share * self.setup_factor / machine["factor_speed"]
        solve_time = share * self.solve_factor / machine["solve_speed"]
        local_setup = setup_time * (self.factor(piece) + self.factor(interior)) \
            + solve_time * COARSE_PER_RANK * self.solve(piece)
        local_solve = solve_time * iterations * (self.solve(piece) + 2 * self.solve(interior))
        # The coarse problem: the same on every rank.
        coarse_setup = share * self.factor(coarse) / machine["factor_speed"]
        coarse_solve = iterations * share * self.solve(coarse) / machine["solve_speed"]
        # Faces to the neighbours, the coarse vector to everybody, three dot products.
        depth = math.log2(ranks)
        faces = min(ranks - 1, 26) * machine["latency"] + 6 * 3 * h**2 * BYTES / machine["bandwidth"]
        gather = depth * machine["latency"] + BYTES * coarse / machine["bandwidth"]
        messages = iterations * (3 * faces + gather + 3 * depth * machine["latency"])
        return {
            "setup": local_setup + coarse_setup, "solve": local_solve + coarse_solve + messages,
            "iterations": iterations, "local": local_setup + local_solve, "coarse": coarse_setup + coarse_solve,
            "messages": messages,
            "gigabytes": (self.memory(piece) + self.memory(interior) + self.memory(coarse)) / 1e9,
        }


def print_measured(model, data):
    print("| ranks | set-up measured | model | solve measured | model |\n|---:|---:|---:|---:|---:|")
    for run in data["bddc"]:
        model_run = model.costs(run["unknowns"], run["ranks"], MACHINES["here"], run["iterations"], cores=2)
        print(f"| {run['ranks']} | {run['setup']:.3f} | {model_run['setup']:.3f} | {run['solve']:.3f} | "
              f"{model_run['solve']:.3f} |")


def print_table(model, machine):
    print("\n| unknowns | ranks | iterations | set-up s | solve s | of all: local | coarse | messages | GB a rank |\n"
          "|---:|---:|---:|---:|---:|---:|---:|---:|---:|")
    for unknowns in (1e7, 1e8, 1e9):
        for ranks in (10, 100, 1000, 10000):
            c = model.costs(unknowns, ranks, machine)
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
        costs = [model.costs(unknowns, int(r), machine) for r in ranks]
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
          f"n^{model.memory.exponent:.2f} up to {model.factor.known} unknowns; beside the factors x "
          f"{model.setup_factor:.2f} and x {model.solve_factor:.2f}; iterations {model.steps:.1f} (1 + log h)\n")
    print_measured(model, data)
    print_table(model, MACHINES[given.machine])
    draw(model, MACHINES[given.machine])


main()
