#!/usr/bin/env python3
"""Runs vyr_bench_indefinite on one and on two threads and prints the table of docs/indefinite.md.

    bench/indefinite.py [--repeats N] [--save FILE] [--load FILE] PROGRAM [MATRIX ...]

A matrix at a time, the two numbers of threads in turn. --load prints the table of an earlier run.
"""
import argparse
import json
import math
import os
import pathlib
import subprocess

MATRICES = (
    "shift_20 shift_40 shift_60 middle_20 middle_40 helm2_300 helm3_36 stokes2_100 stokes3_16 mixed_16 kkt_100 "
    "ip_140 saddle_1 saddle_2 zero_20 zero_150 zerow_100"
).split()


def measure(program, repeats, matrix, threads):
    environment = {**os.environ, "OMP_NUM_THREADS": str(threads)}
    done = subprocess.run(
        [program, str(repeats), matrix], env=environment, capture_output=True, text=True, check=False
    )
    if done.returncode != 0:
        return {"matrix": matrix, "threads": threads, "status": done.stderr.strip()}
    return json.loads(done.stdout)


def number(value, digits=3):
    return "-" if value is None else f"{value:.{digits}g}"


def ratio(row, ours, peer):
    return row[ours] / row[peer] if row.get(ours) and row.get(peer) else None


def mean(values):
    values = [math.log(value) for value in values if value]
    return math.exp(sum(values) / len(values)) if values else None


def table(rows):
    by_matrix = {}
    for row in rows:
        by_matrix.setdefault(row["matrix"], {})[row["threads"]] = row
    lines = [
        "| system | factorise 1 | /MUMPS | factorise 2 | /MUMPS | 1/2 | solve 16 refined / MUMPS | unrefined / MUMPS "
        "| matching | memory | error unrefined | refined | MUMPS |",
        "|---|" + "---:|" * 12,
    ]
    columns = [[] for _ in range(7)]
    for name, pair in by_matrix.items():
        one, two = pair.get(1, {}), pair.get(2, {})
        if one.get("status") != "ok" or two.get("status") != "ok":
            lines.append(f"| `{name}` | {one.get('status')} {two.get('status')} |" + " |" * 11)
            continue
        ratios = [
            ratio(one, "factorise", "peer_factorise"),
            ratio(two, "factorise", "peer_factorise"),
            one["factorise"] / two["factorise"],
            ratio(one, "solve_refined", "peer_solve"),
            ratio(one, "solve_unrefined", "peer_solve"),
            one["analyse"] / one["analyse_plain"],
            one["memory"],
        ]
        for column, value in zip(columns, ratios):
            column.append(value)
        text = [number(value, 2) for value in ratios]
        errors = [number(one.get(key), 1) for key in ("error_unrefined", "error_refined", "peer_error")]
        lines.append(
            f"| `{name}` | {number(one['factorise'])} | {text[0]} | {number(two['factorise'])} | "
            + " | ".join(text[1:] + errors)
            + " |"
        )
    means = [number(mean(column), 2) for column in columns]
    lines.append(f"| geometric mean | | {means[0]} | | " + " | ".join(means[1:]) + " | | | |")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("program", nargs="?")
    parser.add_argument("matrices", nargs="*")
    parser.add_argument("--repeats", type=int, default=5)
    parser.add_argument("--save", type=pathlib.Path)
    parser.add_argument("--load", type=pathlib.Path)
    options = parser.parse_args()
    rows = json.loads(options.load.read_text()) if options.load else []
    for matrix in (options.matrices or MATRICES) if options.program else []:
        rows = [row for row in rows if row["matrix"] != matrix]
        rows += [measure(options.program, options.repeats, matrix, threads) for threads in (1, 2)]
        if options.save:
            options.save.write_text(json.dumps(rows, indent=1) + "\n")
    print(table(rows))


if __name__ == "__main__":
    main()
