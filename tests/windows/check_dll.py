#!/usr/bin/env python3
"""Fails unless a DLL exports exactly the listed names, needs Windows' own DLLs only, and moves no vector of 32 or
64 bytes by an instruction that asks for an aligned address: Win64 does not align the stack for them."""
import argparse
import pathlib
import re
import subprocess
import sys

# The last is no file but the name under which Windows 8 and later offer waiting for an address.
SYSTEM_DLLS = {"kernel32.dll", "msvcrt.dll", "user32.dll", "advapi32.dll", "api-ms-win-core-synch-l1-2-0.dll"}
ALIGNED_MOVE = re.compile(r"\tvmov(?:ap[sd]|dqa(?:32|64)?) .*(?:%[yz]mm\d+.*\(|\(.*%[yz]mm\d+)")


def objdump(arguments, *options):
    command = [arguments.objdump, *options, arguments.dll]
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        yield from process.stdout
    if process.returncode:
        sys.exit(f"{' '.join(command)}: exit code {process.returncode}")


def exports_and_imports(arguments):
    exports, imports, in_names = set(), set(), False
    for line in objdump(arguments, "-p"):
        if line.startswith("[Ordinal/Name Pointer] Table"):
            in_names = True
        elif in_names and (match := re.match(r"\s+\[ *\d+\] (?:\+base\[ *\d+\] +[0-9a-f]+ )?(\S+)$", line)):
            exports.add(match[1])
        elif in_names and not line.strip():
            in_names = False
        if match := re.match(r"\s+DLL Name: (\S+)", line):
            imports.add(match[1].lower())
    return exports, imports


parser = argparse.ArgumentParser()
parser.add_argument("--objdump", default="x86_64-w64-mingw32-objdump")
parser.add_argument("--expect-findings", action="store_true", help="fail unless every check finds something")
parser.add_argument("names")
parser.add_argument("dll")
arguments = parser.parse_args()

listed = set(pathlib.Path(arguments.names).read_text().split())
exports, imports = exports_and_imports(arguments)
moves = [line.strip() for line in objdump(arguments, "-d", "--no-show-raw-insn") if ALIGNED_MOVE.search(line)]
findings = {
    "exported but not listed": sorted(exports - listed),
    "listed but not exported": sorted(listed - exports),
    "needed from outside Windows": sorted(imports - SYSTEM_DLLS),
    "aligned vector moves": moves[:20],
}
for title, found in findings.items():
    print(f"{title}: {found}")
if arguments.expect_findings:
    sys.exit(0 if all(findings.values()) else 1)
sys.exit(0 if not any(findings.values()) else 1)
