#!/usr/bin/env python3
"""Fails when a function of a family is missing from its tests with null.

usage: check_null_sweep.py NM LIBRARY INCLUDE_FOLDER FAMILY TEST_SOURCE...

The functions are those of the family ("dm", "rmt") that the library exports;
what they take is read from their prototypes.
"""
import pathlib
import re
import subprocess
import sys


def exported(nm, library, family):
    lines = subprocess.run([nm, "-D", "--defined-only", library], check=True,
                           capture_output=True, text=True).stdout.splitlines()
    names = {line.split()[-1].split("@")[0] for line in lines}
    return {name for name in names if name.startswith(family + "_")}


def parameters(include_folder, family):
    text = "".join(path.read_text(encoding="utf-8")
                   for path in sorted((include_folder / family).glob("*.h")))
    prototypes = re.findall(
        rf"KIV_API[^;{{]*?\b({family}_\w+)\s*\(([^;{{]*)\);", text)
    return dict(prototypes)


def main():
    nm, library, include_folder, family, *sources = sys.argv[1:]
    names = exported(nm, library, family)
    prototypes = parameters(pathlib.Path(include_folder), family)
    called = set()
    for source in sources:
        called |= set(re.findall(rf"\b({family}_\w+)\(",
                                 pathlib.Path(source).read_text("utf-8")))
    faults = [f"{library} exports nothing"] if not names else []
    faults += [f"{name} is exported without a prototype"
               for name in sorted(names - set(prototypes))]
    faults += [f"{name} is not called with null"
               for name in sorted(names & set(prototypes))
               if re.search(r"[*&]", prototypes[name]) and name not in called]
    print("\n".join(faults) or f"{len(names)} functions")
    return 1 if faults else 0


sys.exit(main())
