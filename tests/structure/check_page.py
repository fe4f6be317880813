#!/usr/bin/env python3
"""Fails when the page of the library interface and its header do not name the same things."""
import pathlib
import re
import sys

header = re.sub(r"/\*.*?\*/", "", pathlib.Path(sys.argv[1]).read_text(), flags=re.DOTALL)
page = pathlib.Path(sys.argv[2]).read_text()
named = set(re.findall(r"`(\w+)", page)) | set(re.findall(r"\bvyr_\w+", page))
functions = set(re.findall(r"_API [^(;]*?\b(vyr_\w+)\(", header))
constants = set(re.findall(r"\b(VYR_[A-Z_]+)\s*=", header))
members = set()
for body in re.findall(r"typedef struct \w+ \{(.*?)\}", header, re.DOTALL):
    for line in body.split(";"):
        members.update(re.findall(r"\b(\w+)\s*(?:,|$)", re.sub(r"^\s*(const )?\w+[ *]+", "", line.strip())))
missing = (functions | constants | members) - named
stale = {name for name in named if re.match(r"(vyr_|VYR_(STATUS|KIND|ORDERING|PART|ABILITY|PHASE)_)", name)}
stale -= functions | constants | set(re.findall(r"\bvyr_\w+", header))
print("in the header, not on the page:", sorted(missing))
print("on the page, not in the header:", sorted(stale))
sys.exit(1 if missing or stale or len(functions) < 20 or len(members) < 40 else 0)
