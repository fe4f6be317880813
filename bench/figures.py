#!/usr/bin/python3
"""Draws SVG figures from the JSON of vyr_bench.

    figures.py RESULTS.json [MORE.json ...] -o FOLDER

Writes
    threads.svg        time of the numeric step over the number of threads, one panel a matrix, for matrices
                       measured at two or more thread counts
    size_FAMILY.svg    time of the numeric step and peak memory over the number of equations with fitted
                       exponents, for families (p3d, ela, ...) measured at three or more sizes
Results of several files are put together; of a result that occurs twice the later file's holds.
"""
import argparse
import json
import math
import pathlib
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402  (the backend is chosen first)

COLOURS = {"vyr": "#0b5fa5", "vyr-tuned": "#5aa9e6", "cholmod": "#d1495b", "mumps": "#6a994e"}
MARKERS = {"vyr": "o", "vyr-tuned": "D", "cholmod": "s", "mumps": "^"}
# Theory for nested dissection: George 1973 (grids), Lipton, Rose and Tarjan 1979 (planar and spatial graphs).
# Exponents of operations and of factor entries over n; the logarithm of two dimensions is left out.
THEORY = {"p2d": ("(3/2)", 1.5, "1", 1.0), "plate": ("(3/2)", 1.5, "1", 1.0)}
THEORY_3D = ("2", 2.0, "(4/3)", 4.0 / 3.0)


def read(names):
    """All results with figures, by (matrix, solver, threads)."""
    results = {}
    for name in names:
        with open(name, encoding="utf-8") as file:
            for result in json.load(file)["results"]:
                if result["status"] == "ok":
                    results[result["matrix"], result["solver"], int(result["threads"])] = result
    return results


def style(solver):
    return {"color": COLOURS.get(solver, "#555555"), "marker": MARKERS.get(solver, "x"), "markersize": 5}


def save(figure, path):
    figure.savefig(path, metadata={"Date": None})  # the same data give the same file
    plt.close(figure)
    print(path)


def draw_threads(results, path):
    solvers = list(dict.fromkeys([*COLOURS, *(solver for _, solver, _ in results)]))
    panels = []
    for matrix in dict.fromkeys(matrix for matrix, _, _ in results):
        lines = {}
        for solver in solvers:
            points = sorted((t, result["seconds_factorise"]) for (m, s, t), result in results.items()
                            if (m, s) == (matrix, solver))
            if points:
                lines[solver] = points
        if any(len(points) > 1 for points in lines.values()):
            panels.append((matrix, lines))
    if not panels:
        return False
    columns = min(3, len(panels))
    rows = math.ceil(len(panels) / columns)
    figure, axes = plt.subplots(rows, columns, figsize=(3.6 * columns, 3.0 * rows), squeeze=False,
                                layout="constrained")
    for axis in axes.flat[len(panels):]:
        axis.set_visible(False)
    for axis, (matrix, lines) in zip(axes.flat, panels):
        counts = sorted({t for points in lines.values() for t, _ in points})
        for solver, points in lines.items():
            axis.plot(*zip(*points), label=solver, **style(solver))
        ours = lines.get("vyr")
        if ours:
            first, seconds = ours[0]
            axis.plot(counts, [seconds * first / t for t in counts], ":", color="#888888", label="ideal, from vyr")
        axis.set(title=matrix, xlabel="threads", ylabel="factorise, s")
        axis.set_ylim(bottom=0)
        axis.set_xticks(counts)
        axis.grid(True, alpha=0.3)
    entries = {label: handle for axis in axes.flat for handle, label in zip(*axis.get_legend_handles_labels())}
    figure.supxlabel(" ", fontsize=14)  # keeps the room that the legend fills
    figure.legend(list(entries.values()), list(entries), loc="lower center", ncols=len(entries), fontsize="small")
    save(figure, path)
    return True


def fit(points):
    """Exponent of the power law that fits best: the slope of the line through the logarithms."""
    xs = [math.log(x) for x, _ in points]
    ys = [math.log(y) for _, y in points]
    mean_x, mean_y = sum(xs) / len(xs), sum(ys) / len(ys)
    return sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / sum((x - mean_x) ** 2 for x in xs)


def draw_panel(axis, lines, exponent, exponent_text, title):
    """One quantity over n, every solver with its fitted exponent, beside the theory's slope."""
    for solver, points in lines.items():
        axis.plot(*zip(*points), label=f"{solver}: n^{fit(points):.2f}", **style(solver))
    points = lines.get("vyr") or next(iter(lines.values()))
    last_n, last = points[-1]
    axis.plot([n for n, _ in points], [1.3 * last * (n / last_n) ** exponent for n, _ in points], "--",
              color="#888888", label=f"theory: n^{exponent_text}")
    axis.set(title=title, xscale="log", yscale="log", xlabel="equations n")
    axis.grid(True, which="both", alpha=0.25)
    axis.legend(fontsize="small")


def draw_sizes(results, family, threads, path):
    time, memory = {}, {}
    for (matrix, solver, t), result in results.items():
        if t == threads and matrix.rsplit("_", 1)[0] == family:
            time.setdefault(solver, []).append((result["n"], result["seconds_factorise"]))
            # What the process held before the solver began (program, matrix, right-hand sides) is not its own.
            grown = (result["peak_bytes"] - result["start_bytes"]) * 1e-6
            memory.setdefault(solver, []).append((result["n"], grown))
    time = {solver: sorted(points) for solver, points in time.items() if len(points) >= 3}
    memory = {solver: sorted(points) for solver, points in memory.items() if len(points) >= 3}
    if not time:
        return False
    work_text, work, size_text, size = THEORY.get(family, THEORY_3D)
    figure, (left, right) = plt.subplots(1, 2, figsize=(9.5, 4.0), layout="constrained")
    plural = "" if threads == 1 else "s"
    draw_panel(left, time, work, work_text, f"{family}, {threads} thread{plural}: factorise, s")
    draw_panel(right, memory, size, size_text, f"{family}, {threads} thread{plural}: peak memory, MB")
    save(figure, path)
    return True


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("results", nargs="+", help="JSON files of vyr_bench")
    parser.add_argument("-o", "--output", default=".", type=pathlib.Path, help="folder for the figures")
    arguments = parser.parse_args()
    results = read(arguments.results)
    arguments.output.mkdir(parents=True, exist_ok=True)
    matplotlib.rcParams["svg.hashsalt"] = "vyr"
    drawn = draw_threads(results, arguments.output / "threads.svg")
    for family in sorted({matrix.rsplit("_", 1)[0] for matrix, _, _ in results}):
        threads = max(t for matrix, _, t in results if matrix.startswith(family + "_"))
        drawn = draw_sizes(results, family, threads, arguments.output / f"size_{family}.svg") or drawn
    if not drawn:
        sys.exit("figures.py: nothing to draw: no matrix at two thread counts, no family at three sizes")


if __name__ == "__main__":
    main()
