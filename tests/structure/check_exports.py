#!/usr/bin/env python3
"""Fails unless a shared library defines exactly the listed dynamic names, and a header declares just them."""
import argparse
import pathlib
import re
import subprocess
import sys

parser = argparse.ArgumentParser()
parser.add_argument("--nm", default="nm")
parser.add_argument("--header")
parser.add_argument("names")
parser.add_argument("library")
arguments = parser.parse_args()

listed = set(pathlib.Path(arguments.names).read_text().split())
table = subprocess.run([arguments.nm, "-D", "--defined-only", arguments.library], check=True, capture_output=True,
                       text=True).stdout
exported = {line.split()[-1].split("@")[0] for line in table.splitlines()}
declared = listed
if arguments.header:
    declared = set(re.findall(r"^VYR\w*_API [^(;]*?\b(\w+)\(", pathlib.Path(arguments.header).read_text(), re.MULTILINE))
for title, names in (("exported", exported), ("declared", declared)):
    print(f"{title} but not listed:", sorted(names - listed))
    print(f"listed but not {title}:", sorted(listed - names))
sys.exit(0 if exported == listed == declared and listed else 1)
