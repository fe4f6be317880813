#!/usr/bin/env python3
"""Fails unless a shared library defines exactly the listed dynamic names."""
import argparse
import pathlib
import subprocess
import sys

parser = argparse.ArgumentParser()
parser.add_argument("--nm", default="nm")
parser.add_argument("names")
parser.add_argument("library")
arguments = parser.parse_args()

listed = set(pathlib.Path(arguments.names).read_text().split())
table = subprocess.run([arguments.nm, "-D", "--defined-only", arguments.library], check=True, capture_output=True,
                       text=True).stdout
exported = {line.split()[-1].split("@")[0] for line in table.splitlines()}
print("exported but not listed:", sorted(exported - listed))
print("listed but not exported:", sorted(listed - exported))
sys.exit(0 if exported == listed and len(listed) == 9 else 1)
