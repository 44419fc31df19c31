#!/usr/bin/env python3
"""Runs the tests of the reliability scenarios and sums each up in a line.

usage: run_scenarios.py BUILD_FOLDER [NUMBER...]

A scenario's tests carry the ctest label scenario-NN. Ends with 1 when one of
them fails, or a scenario has no test at all. What failed is in
BUILD_FOLDER/scenario-NN.log.
"""
import pathlib
import re
import subprocess
import sys
import time

TITLES = {
    1: "queue.xml is broken off or malformed",
    2: "entities, DOCTYPE, external references",
    3: "deep, huge or unreadable documents",
    4: "characters beyond GB2312",
    5: "disk full, or kill, while a file is saved",
    6: "the log's disk fills up or its folder goes",
    7: "the log over midnight, clock changes, forks, threads",
    8: "messages that fake log entries",
    9: "50,000 files at once, in folders that move",
    10: "slow writers and files that vanish",
    11: "processors that fail while files are taken",
    12: "links, pipes, devices, odd names",
    13: "folders that cannot be watched",
    14: "serial lines: unplugged, shared, noisy",
    15: "durable queues under kill and corruption",
    16: "processors that do not load, crash or hang",
    17: "databases that are down, odd names, long values",
    18: "XML database: kill at random points",
    19: "XML database: damaged files, full disk, passwords",
    20: "remote servers: gone, silent, foreign",
}
SUMMARY = re.compile(r"(\d+)% tests passed, (\d+) tests? failed out of (\d+)")


def run(build, number):
    """(state, tests, skipped, seconds)"""
    log = build / f"scenario-{number:02d}.log"
    begin = time.monotonic()
    result = subprocess.run(
        ["ctest", "--test-dir", str(build), "-L", f"scenario-{number:02d}",
         "--output-on-failure"], capture_output=True, text=True)
    seconds = time.monotonic() - begin
    log.write_text(result.stdout + result.stderr)
    match = SUMMARY.search(result.stdout)
    if not match:
        return "NO TESTS", 0, 0, seconds
    failed, total = int(match.group(2)), int(match.group(3))
    skipped = result.stdout.count("***Skipped")
    state = "FAILED" if failed else "survived"
    return state, total, skipped, seconds


def main():
    build = pathlib.Path(sys.argv[1])
    numbers = [int(word) for word in sys.argv[2:]] or sorted(TITLES)
    bad = 0
    for number in numbers:
        state, total, skipped, seconds = run(build, number)
        note = f", {skipped} skipped" if skipped else ""
        print(f"{number:02d}  {TITLES[number]:54} {state:9} "
              f"{total:3} tests{note}, {seconds:.1f} s", flush=True)
        bad += state != "survived"
    print(f"{len(numbers) - bad} of {len(numbers)} scenarios survived")
    return 1 if bad else 0


if __name__ == "__main__":
    sys.exit(main())
