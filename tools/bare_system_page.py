#!/usr/bin/env python3
"""Makes a page of what scripts/bare noted:
bare_system_page.py NOTES PAGE COMMIT [REMARK]

NOTES has a line TITLE|RESULT|SECONDS for each step.
"""
import pathlib
import sys

import machine


def main():
    steps = [line.split("|") for line in
             pathlib.Path(sys.argv[1]).read_text("utf-8").splitlines()]
    lines = [
        "# From a bare system", "",
        "What `scripts/bare` did in bare Debian 12 systems, folders that debootstrap "
        f"made, and how long that took: {machine.when_and_what(sys.argv[3])}. The script writes "
        "this page; it is not to be changed by hand." + "".join(
            " " + remark for remark in sys.argv[4:]), "",
        "| step | outcome | seconds |", "|---|---|--:|"]
    for title, result, seconds in steps:
        lines.append(f"| {title} | {result} | {float(seconds):.1f} |")
    pathlib.Path(sys.argv[2]).write_text("\n".join(lines) + "\n", "utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
