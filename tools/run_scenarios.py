#!/usr/bin/env python3
"""Runs the tests of the reliability scenarios and sums each up in a line.

usage: run_scenarios.py BUILD_FOLDER PAGE [NUMBER...]

A scenario's tests carry the ctest label scenario-NN; docs/scenarios.txt says
what each is about. Ends with 1 when a test fails, or a scenario has none that
ran. What was run and what came out goes to PAGE, as Markdown; what a test said
is in BUILD_FOLDER/../scenarios/NN.log.
"""
import os
import pathlib
import re
import subprocess
import sys
import time
import xml.etree.ElementTree as xml

import machine

ROOT = pathlib.Path(__file__).resolve().parent.parent


def known():
    """[(number, title, expectation)]"""
    scenarios = []
    for line in (ROOT / "docs/scenarios.txt").read_text("utf-8").splitlines():
        if line and not line.startswith("#"):
            number, title, expected = (part.strip() for part in line.split("|"))
            scenarios.append((int(number), title, expected))
    return scenarios


def words(name):
    """(what a test promises, its case): Suite/Scenario16Module.OfAMissingFile/Two
    is "module: of a missing file" and "Two"."""
    name = name.split("  #")[0]  # behind it, what the case looks like in memory
    suite, _, promise = name.partition(".")
    promise, _, case = promise.partition("/")
    suite = re.sub(r"^.*Scenario\d\d", "", suite.split("/")[-1])

    def split(text):
        return " ".join(
            word if re.fullmatch(r"[A-Z]{2,}", word) else word.lower()
            for word in re.findall(
                r"[A-Z]+(?=[A-Z][a-z])|[A-Z]?[a-z]+|[A-Z]+|\d+", text))

    if not promise:
        return name.replace("_", " "), ""
    return f"{split(suite)}: {split(promise)}", case


def run(build, logs, number):
    """([(test, state, note)], seconds)"""
    report = logs / f"{number:02d}.xml"
    report.unlink(missing_ok=True)
    begin = time.monotonic()
    result = subprocess.run(
        ["ctest", "--test-dir", str(build), "-L", f"^scenario-{number:02d}$",
         "--output-on-failure", "-j", str(os.cpu_count()),
         "--output-junit", str(report.resolve())],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    seconds = time.monotonic() - begin
    (logs / f"{number:02d}.log").write_text(result.stdout)
    tests = []
    if report.exists():
        for case in xml.parse(report).getroot().iter("testcase"):
            # A child of another test, which runs it.
            if case.get("status") == "disabled":
                continue
            output = case.findtext("system-out") or ""
            state = {"run": "passed", "fail": "FAILED"}.get(
                case.get("status"), "skipped")
            reason = re.search(r"Skipped\n(.+)", output)
            note = reason.group(1).strip() if reason else ""
            # A program of many tests is one case of ctest; some of them may
            # have been skipped.
            if state == "passed" and reason and "[  PASSED  ] 0" in output:
                state = "skipped"
            tests.append((case.get("name"), state, note))
    return sorted(tests), seconds


def outcome(tests):
    states = [state for _, state, _ in tests]
    if "FAILED" in states:
        return "FAILED"
    return "survived" if "passed" in states else "not run"


def listed(tests):
    """A line for each promise and outcome, with the cases it was tried in."""
    cases = {}
    for name, state, note in tests:
        promise, case = words(name)
        cases.setdefault((promise, state, note), []).append(case)
    for (promise, state, note), names in cases.items():
        named = ", ".join(name for name in names if name)
        yield (promise + (f" ({named})" if named else "")
               + ("" if state == "passed" else f" **{state}**")
               + (f": {note}" if note else ""))


def page(results):
    lines = [
        "# Reliability", "",
        "What `scripts/scenarios` ran and what came out: "
        f"{machine.when_and_what()}. The script writes this page; it is not to "
        "be changed by hand.", "",
        "Asked of all: no crash, no hang, one clear line in the log that names "
        "the thing and the cure, nothing lost that was committed, and the "
        "process goes on.", "",
        "| | scenario | outcome | tests | seconds |", "|---|---|---|---|---|"]
    for (number, title, _), tests, seconds in results:
        skipped = sum(state == "skipped" for _, state, _ in tests)
        count = f"{len(tests)}" + (f", {skipped} skipped" if skipped else "")
        lines.append(f"| [{number:02d}](#scenario-{number:02d}) | {title} | "
                     f"{outcome(tests)} | {count} | {seconds:.1f} |")
    for (number, title, expected), tests, _ in results:
        lines += ["", f"## Scenario {number:02d}", "",
                  f"**{title}.** Expected: {expected}", ""]
        lines += [f"- {line}" for line in listed(tests)]
        if not tests:
            lines.append("No test.")
    return "\n".join(lines) + "\n"


def main():
    build, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    wanted = {int(word) for word in sys.argv[3:]}
    logs = build.parent / "scenarios"
    logs.mkdir(exist_ok=True)
    results = []
    for scenario in known():
        number, title, _ = scenario
        if wanted and number not in wanted:
            continue
        tests, seconds = run(build, logs, number)
        results.append((scenario, tests, seconds))
        skipped = sum(state == "skipped" for _, state, _ in tests)
        note = f", {skipped} skipped" if skipped else ""
        print(f"{number:02d}  {title[:62]:62}  {outcome(tests):8}  "
              f"{len(tests):3} tests{note}, {seconds:.1f} s", flush=True)
    good = sum(outcome(tests) == "survived" for _, tests, _ in results)
    target.parent.mkdir(parents=True, exist_ok=True)
    target.write_text(page(results), "utf-8")
    print(f"{good} of {len(results)} scenarios survived; {target} tells more")
    return 0 if results and good == len(results) else 1


if __name__ == "__main__":
    sys.exit(main())
