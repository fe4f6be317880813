#!/usr/bin/env python3
"""Fails when an object file defines writable data, unless its name is on the allowed list."""
import argparse
import re
import subprocess
import sys

# Section names of writable data. .data.rel.ro is read-only once the loader has relocated it.
WRITABLE = re.compile(r"^(\.t?bss|\.t?data|\*COM\*)(\.|$)")
RELOCATED_READ_ONLY = re.compile(r"^\.data\.rel\.ro")
# Symbols that compilers and sanitizers put there themselves.
COMPILER_OWN = re.compile(r"^(__odr_asan|__asan|__tsan|__gcov|\.L|\.?LASAN|DW\.ref\.|\.ubsan|\*\.L)")


def writable_symbols(objdump, path):
    table = subprocess.run([objdump, "-t", path], check=True, capture_output=True, text=True).stdout
    for line in table.splitlines():
        match = re.match(r"^[0-9a-f]+ (.{7}) (\S+)\s+([0-9a-f]+)\s+(?:\.hidden )?(\S+)$", line)
        if not match:
            continue
        flags, section, size, name = match.groups()
        if "d" in flags or int(size, 16) == 0:  # the sections themselves, labels
            continue
        if not WRITABLE.match(section) or RELOCATED_READ_ONLY.match(section) or COMPILER_OWN.match(name):
            continue
        yield section, name


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--objdump", default="objdump")
    parser.add_argument("--allowed", action="append", default=[])
    parser.add_argument("--expect-findings", action="store_true")
    parser.add_argument("objects", nargs="+")
    arguments = parser.parse_args()
    findings = []
    for path in arguments.objects:
        if not path.endswith(tuple(arguments.allowed)):
            findings += [(path, *symbol) for symbol in writable_symbols(arguments.objdump, path)]
    for path, section, name in findings:
        print(f"{path}: {name} in {section}")
    if arguments.expect_findings:
        found = " ".join(name for _, _, name in findings)
        wanted = ["file_local", "per_thread", "counter", "guarded", "_ZGV"]
        missing = [word for word in wanted if word not in found]
        print("not found:", missing)
        return 1 if missing or "read_only" in found else 0
    return 1 if findings else 0


sys.exit(main())
