"""What a report says of the run that it comes from."""
import datetime
import os
import pathlib
import re
import subprocess

ROOT = pathlib.Path(__file__).resolve().parent.parent


def commit():
    """The commit, with + behind it when the tree differs."""
    def git(*words):
        return subprocess.run(["git", "-C", str(ROOT), *words], text=True,
                              capture_output=True).stdout.strip()
    name = git("rev-parse", "--short", "HEAD")
    # The reports themselves are what such a run changes.
    changed = git("status", "--porcelain", "--untracked-files=no", "--",
                  ":/", ":(exclude)docs")
    return (name or "no checkout") + ("+" if changed else "")


def processor():
    match = re.search(r"^model name\s*: (.+)$",
                      pathlib.Path("/proc/cpuinfo").read_text(), re.M)
    return re.sub(r"\s+", " ", match.group(1)) if match else os.uname().machine


def memory_gib():
    match = re.search(r"^MemTotal:\s+(\d+) kB$",
                      pathlib.Path("/proc/meminfo").read_text(), re.M)
    return round(int(match.group(1)) / 1024 / 1024) if match else 0


def system():
    match = re.search(r'^PRETTY_NAME="(.+)"$',
                      pathlib.Path("/etc/os-release").read_text(), re.M)
    return match.group(1) if match else os.uname().sysname


def when_and_what(of=None):
    """The day, the commit, or the one that was given, and the machine."""
    return (f"{datetime.date.today().isoformat()}, commit {of or commit()}, "
            f"{processor()}, {os.cpu_count()} processors, "
            f"{memory_gib()} GiB, {system()}")
