#!/usr/bin/env python3
"""Fails when a room of src/ includes a header of a room it may not call."""
import pathlib
import re
import sys

ROOMS = {
    "interface": {"symbolic", "numeric", "solve", "memory", "report", "platform"},
    "symbolic": {"memory", "platform"},
    "numeric": {"symbolic", "memory", "platform"},
    "solve": {"symbolic", "numeric", "memory", "platform"},
    "memory": {"platform"},
    "report": {"memory"},
    "platform": set(),
}
FOR_EVERY_ROOM = {"interface/process_state.h", "interface/slots.h", "interface/status.h", "report/console.h"}
# The factor files hold the blocks of the supernode records: data, no calls.
ALSO = {("memory", "symbolic/solver.h")}


def forbidden(room, text):
    """The quoted includes of a file of `room` that its place in the house does not allow."""
    for name in re.findall(r'^\s*#\s*include\s*"([^"]+)"', text, re.MULTILINE):
        target = name.split("/")[0]
        own_or_below = target == room or target in ROOMS[room]
        public_header = name == "vyr.h" and room == "interface"
        if not (own_or_below or public_header or name in FOR_EVERY_ROOM or (room, name) in ALSO):
            yield name


def self_test():
    cases = [
        ("symbolic", '#include "memory/buffer.h"\n#include "interface/slots.h"\n#include <vector>\n', []),
        ("symbolic", '#include "numeric/tuning.h"\n', ["numeric/tuning.h"]),
        ("platform", '#include "memory/buffer.h"\n', ["memory/buffer.h"]),
        ("report", '#  include "symbolic/solver.h"\n', ["symbolic/solver.h"]),
        ("solve", '#include "interface/handle.h"\n', ["interface/handle.h"]),
        ("memory", '#include "symbolic/solver.h"\n#include "symbolic/symbolic.h"\n', ["symbolic/symbolic.h"]),
        ("memory", '#include "../numeric/tuning.h"\n', ["../numeric/tuning.h"]),
    ]
    return all(list(forbidden(room, text)) == expected for room, text, expected in cases)


def main():
    if sys.argv[1] == "--self-test":
        return 0 if self_test() else 1
    root = pathlib.Path(sys.argv[1])
    findings = []
    for path in sorted([*root.rglob("*.h"), *root.rglob("*.cpp")]):
        room = path.relative_to(root).parts[0]
        if room not in ROOMS:
            findings.append(f"{path}: no such room")
            continue
        findings += [f"{path}: {name}" for name in forbidden(room, path.read_text())]
        if room != "platform" and re.search(r"^\s*#.*\b_WIN32\b", path.read_text(), re.MULTILINE):
            findings.append(f"{path}: asks for the operating system")
    print("\n".join(findings))
    return 1 if findings else 0


sys.exit(main())
