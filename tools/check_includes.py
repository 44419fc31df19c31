#!/usr/bin/env python3
"""Fails when a source includes upward, or a third party outside its room.

The linker catches an upward call; this catches an upward include, and the
headers of a dependency or of the operating system where they do not belong.
"""
import pathlib
import re
import sys

# Lowest first; a folder may include its own layer and the ones before it.
LAYERS = [
    ["port", "util", "time", "fs"],
    ["parser", "xml"],
    ["dm", "xdb"],
    ["mq", "store", "remote", "service"],
]
PUBLIC_LAYERS = {
    "kiv/parser/": 1, "kiv/dom": 1, "kiv/xdb": 2,
    "kiv/mq/": 3, "kiv/msgq/": 3, "kiv/module/": 3, "kiv/store/": 3,
    "kiv/ice_helper": 3, "rmt/": 3, "kiv/nt_service.h": 3,
}
# The headers of a third party, and where they may be included.
ROOMS = [
    (re.compile(r"^xercesc/"), ("src/xml/", "src/util/xerces_")),
    (re.compile(r"^(sys/|unistd\.h|fcntl\.h|dlfcn\.h|poll\.h|termios|asm/|"
                r"linux/|pthread\.h|netdb\.h|arpa/|netinet/|dirent\.h)"),
     ("src/port/linux/",)),
    (re.compile(r"^sqlite3"), ("src/mq/sqlite_",)),
    (re.compile(r"^(sql(ext|ucode|types)?|odbcinst)\.h$"), ("src/store/ado/",)),
    (re.compile(r"^amqp"), ("src/mq/amqp_",)),
    (re.compile(r"^db(_cxx)?\.h$"), ("src/xdb/container/",)),
    (re.compile(r"^(Ice|IceUtil|IceSSL)/|^slice/"), ("src/remote/",)),
    (re.compile(r"^unicode/"), ("src/xdb/xquery/functions/unicode_text.cpp",
                                "src/xdb/xquery/functions/pattern.cpp")),
]
INCLUDE = re.compile(r'^\s*#\s*include\s*[<"]([^>"]+)[>"]')


def layer_of_source(path):
    folder = path.split("/")[1]
    for number, folders in enumerate(LAYERS):
        if folder in folders:
            return number
    return None


def layer_of_include(name):
    for prefix, number in PUBLIC_LAYERS.items():
        if name.startswith(prefix):
            return number
    if name.startswith("kiv/") or name == "dm/guid.h":
        return 0
    first = name.split("/")[0]
    for number, folders in enumerate(LAYERS):
        if first in folders and "/" in name:
            return number
    return None


def main():
    root = pathlib.Path(sys.argv[1])
    faults = []
    files = 0
    for file in sorted((root / "src").rglob("*")) + sorted(
            (root / "include").rglob("*.h")):
        if file.suffix not in (".cpp", ".h", ".inc"):
            continue
        files += 1
        path = file.relative_to(root).as_posix()
        is_public = path.startswith("include/")
        is_test = path.endswith(("_test.cpp", "_testing.h"))
        own = layer_of_source(path) if not is_public else None
        is_startup = path == "src/util/startup.cpp"
        for number, line in enumerate(
                file.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            name = match.group(1)
            where = f"{path}:{number}: {name}"
            target = layer_of_include(name)
            if (own is not None and target is not None and target > own
                    and not is_startup):
                faults.append(f"{where} lies in a higher layer")
            if is_public and '"' in line and not name.startswith(
                    ("kiv/", "dm/", "rmt/")):
                faults.append(f"{where} is no public header")
            for pattern, rooms in ROOMS:
                if (pattern.match(name) and not is_test
                        and not path.startswith(rooms or ("-",))):
                    faults.append(f"{where} belongs elsewhere")
    for fault in faults:
        print(fault)
    print(f"{files} files, {len(faults)} faults")
    return 1 if faults or not files else 0


if __name__ == "__main__":
    sys.exit(main())
