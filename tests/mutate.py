#!/usr/bin/env python3
"""Plants small faults in src/, one at a time, and tells which of them no test notices.

usage: mutate.py COUNT SEED [ROOM...]; run by ./dev mutate. Works on a copy of the tree in build/mutate. A run that was
interrupted goes on where it stopped, as long as sources and tests stay the same.
"""
import pathlib
import random
import re
import shutil
import subprocess
import sys
import zlib

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutate"
# Tests that a fault in a room must meet: those of the room first, then those where the room shows itself.
TESTS_OF = {
    "core": ["core", "engine", "memory", "interface", "api"],
    "memory": ["memory", "engine", "faults", "interface", "api"],
    "symbolic": ["symbolic", "faults", "interface", "api"],
    "numeric": ["numeric", "engine", "memory", "faults", "interface", "api"],
    "solve": ["solve", "engine", "memory", "interface", "api"],
    "report": ["report", "interface"],
    "engine": ["engine", "faults", "api", "interface", "tools"],
    "interface": ["interface", "report"],
}

# Formatted code has blanks around its binary operators and none around template brackets.
SWAPS = [(rf"(?<=\s){re.escape(old)}(?=\s)", new) for old, new in
         [("<=", "<"), (">=", ">"), ("<", "<="), (">", ">="), ("==", "!="), ("!=", "=="), ("+", "-"), ("-", "+"),
          ("+=", "-="), ("-=", "+="), ("&&", "||"), ("||", "&&"), ("*", "+")]]


def mutants_of(line):
    """Every fault that can be planted in one line of code, as (description, new line)."""
    code = line.split("//")[0]
    for pattern, replacement in SWAPS:
        for match in [] if '"' in code else re.finditer(pattern, code):
            yield (f"{match.group(0)} -> {replacement}", line[:match.start()] + replacement + line[match.end():])
    for match in [] if '"' in code else re.finditer(r"(?<![\w.'])\d+(?![\w.'])", code):
        number = str(int(match.group(0)) + 1)
        yield (f"{match.group(0)} -> {number}", line[:match.start()] + number + line[match.end():])
    match = re.search(r"\bif \((?!const)(.+)\)( \{| return.*;| .*;)?$", code.rstrip())
    if match and code.count("(") == code.count(")") and ";" not in match.group(1):
        yield ("negated", line.replace(f"if ({match.group(1)})", f"if (!({match.group(1)}))", 1))
    if re.match(r"^\s+[\w\[\]().>*&:-]+(\(.*\)| [-+|&*/]?= .*|\+\+);$", code.rstrip()) and "return" not in code \
            and not re.match(r"^\s*(const|auto|constexpr|using|double|std::|static)\b", code):
        yield ("removed", re.match(r"^\s*", line).group(0) + ";")


def candidates(rooms):
    for room in rooms:
        for path in sorted((ROOT / "src" / room).glob("*.*")):
            if path.suffix not in (".cpp", ".h"):
                continue
            depth_of_macro = False
            for number, line in enumerate(path.read_text().splitlines()):
                depth_of_macro, was = line.endswith("\\"), depth_of_macro
                stripped = line.strip()
                if was or not stripped or stripped.startswith(("//", "#", "static_assert", "template", "*", '"')):
                    continue
                for what, mutant in mutants_of(line):
                    yield room, path, number, what, mutant


def run(*command, timeout=900):
    try:
        return subprocess.run(command, cwd=COPY, capture_output=True, text=True, timeout=timeout).returncode
    except subprocess.TimeoutExpired:
        return -1


def mirror():
    """Brings the copy up to date; files that stay the same keep their age, so that little is built anew."""
    for name in ("src", "include", "tools", "tests", "examples", "cmake", "docs", "CMakeLists.txt"):
        top = ROOT / name
        for source in [top] if top.is_file() else top.rglob("*"):
            target = COPY / source.relative_to(ROOT)
            if source.is_file() and not (target.exists() and target.read_bytes() == source.read_bytes()):
                target.parent.mkdir(parents=True, exist_ok=True)
                shutil.copy(source, target)


def verdict(room):
    for test in TESTS_OF[room]:
        if run("cmake", "--build", "build", "--target", f"tests/{test}/all") != 0:
            return "does not compile"
        # GoogleTest's names alone. timeout, and not ctest's own, since that leaves the program running.
        if run("timeout", "90", "ctest", "--test-dir", "build", "-R", rf"^{test}\.[A-Za-z]+\.", "-j2", "--stop-on-failure",
               "--no-tests=error") != 0:
            return "killed"
    return "SURVIVED"


def main():
    count, seed = int(sys.argv[1]), int(sys.argv[2])
    rooms = sys.argv[3:] or list(TESTS_OF)
    chosen = list(candidates(rooms))
    random.Random(seed).shuffle(chosen)
    mirror()
    targets = [f"tests/{test}/all" for test in sorted(set(sum((TESTS_OF[room] for room in rooms), [])))]
    if run("cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
           "-DCMAKE_CXX_FLAGS_RELEASE=-O1") != 0 \
            or run("cmake", "--build", "build", "--target", *targets, timeout=3600) != 0:
        sys.exit("the tree without a fault does not build")
    sources = sorted(path for top in ("src", "tests") for path in (ROOT / top).rglob("*.*") if path.is_file())
    state = zlib.crc32(b"".join(path.read_bytes() for path in sources))
    log = COPY / "-".join(["seed", str(seed), f"{state:08x}", *rooms])  # what an interrupted run has found out
    if not log.exists() and any(verdict(room) != "SURVIVED" for room in rooms):
        sys.exit("the tests fail without a fault")
    known = log.read_text().splitlines() if log.exists() else []
    tally = {"killed": 0, "SURVIVED": 0, "does not compile": 0}
    for room, path, number, what, mutant in chosen:
        if tally["killed"] + tally["SURVIVED"] == count:
            break
        copy, place = COPY / path.relative_to(ROOT), f"{path.relative_to(ROOT)}:{number + 1}: {what}: {mutant.strip()}"
        said = next((line.split("  ")[0] for line in known if line.endswith(place)), None)
        if said is None:
            lines = path.read_text().splitlines()
            lines[number] = mutant
            copy.write_text("\n".join(lines) + "\n")
            said = verdict(room)
            shutil.copy(path, copy)
            with log.open("a") as file:
                print(f"{said}  {place}", file=file)
        tally[said] += 1
        if said != "does not compile":
            print(f"{said:9} {place}", flush=True)
    print(f"{tally['killed']} of {tally['killed'] + tally['SURVIVED']} faults killed, seed {seed}")


main()
