#!/usr/bin/env python3
"""Fails when a file of src/ does what its room may not: call upwards, keep state, know the numbered slots."""
import pathlib
import re
import sys

# From the ground up. A room may include its own headers and those of the rooms it lists.
BELOW_ENGINE = {"solve", "report", "numeric", "symbolic", "memory", "core", "platform"}
ROOMS = {
    "platform": set(),
    "core": {"platform"},
    "memory": {"core", "platform"},
    "symbolic": {"memory", "core", "platform"},
    "numeric": {"memory", "core", "platform"},
    "solve": {"memory", "core", "platform"},
    "report": {"core", "platform"},
    "engine": BELOW_ENGINE,
    "interface": BELOW_ENGINE | {"engine"},
    "api": BELOW_ENGINE | {"engine"},
}
PUBLIC_HEADER = {"interface": "vyr.h", "api": "vyr/solver.h"}
SLOTS = re.compile(r"\b(mf_ctrl|mf_info|(CTRL|INFO)_[A-Z])")


def findings_of(room, name, text):
    """What is wrong with a file of `room`, one sentence each."""
    code = re.sub(r"//[^\n]*", "", text)
    for include in re.findall(r'^\s*#\s*include\s*"([^"]+)"', code, re.MULTILINE):
        if include.split("/")[0] not in ROOMS[room] | {room} and include != PUBLIC_HEADER.get(room):
            yield f"includes {include}"
    if room != "interface" and SLOTS.search(code):
        yield f"knows the slot {SLOTS.search(code).group(0)}"
    if name.endswith(".h") and re.search(r'\bextern\b(?!\s*"C")', code):
        yield "declares an extern variable"
    if room != "platform" and re.search(r"^\s*#.*\b_WIN32\b", code, re.MULTILINE):
        yield "asks for the operating system"


def self_test():
    cases = [
        ("symbolic", "a.cpp", '#include "memory/plan.h"\n#include "core/buffer.h"\n#include <vector>\n', 0),
        ("symbolic", "a.cpp", '#include "numeric/spd.h"\n', 1),
        ("core", "a.h", '#  include "memory/plan.h"\n', 1),
        ("solve", "a.cpp", '#include "numeric/spd.h"\n#include "../engine/engine.h"\n', 2),
        ("engine", "a.cpp", '#include "interface/handle.h"\n#include "vyr.h"\n', 2),
        ("interface", "a.cpp", '#include "vyr.h"\n#include "engine/engine.h"\nmf_info[INFO_ROWS] = 1;', 0),
        ("api", "a.cpp", '#include "vyr/solver.h"\n#include "interface/handle.h"\n', 1),
        ("report", "a.cpp", "print(mf_info[0]); // mf_ctrl", 1),
        ("numeric", "a.cpp", "// INFO_FLOPS\n", 0),
        ("core", "a.h", 'extern int counter;\nextern "C" int f(void);', 1),
        ("core", "a.cpp", "#ifdef _WIN32\n#endif\n", 1),
    ]
    wrong = [case for case in cases if len(list(findings_of(*case[:3]))) != case[3]]
    print("\n".join(map(str, wrong)))
    return not wrong


def main():
    if sys.argv[1] == "--self-test":
        return 0 if self_test() else 1
    root = pathlib.Path(sys.argv[1])
    findings = []
    for path in sorted([*root.rglob("*.h"), *root.rglob("*.cpp")]):
        room = path.relative_to(root).parts[0]
        said = findings_of(room, path.name, path.read_text()) if room in ROOMS else ["stands in no room"]
        findings += [f"{path}: {finding}" for finding in said]
    for path in sorted((root.parent / "tools").rglob("*.*")):
        for include in re.findall(r'^\s*#\s*include\s*"([^"]+)"', path.read_text(), re.MULTILINE):
            if not include.startswith(("tools/", "vyr/")) and include != "vyr.h":
                findings.append(f"{path}: a program includes {include}")
    print("\n".join(findings))
    return 1 if findings else 0


sys.exit(main())
