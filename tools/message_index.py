#!/usr/bin/env python3
"""The index of the library's messages: text, cause, cure.

usage: message_index.py --check ROOT    fails when a text has no cause and cure,
                                        or a line of docs/messages.txt no text
       message_index.py --page ROOT     the index as Markdown

The texts come from the *_messages.cpp files, with ... for what is put in.
"""
import pathlib
import re
import sys

TEXT = re.compile(
    r"^(?:extern )?(?:std::string|const char\*) (\w+)\([^)]*\)\s*\{(.*?)(?:^\}| \})$"
    r"|^const char (k\w+)\[\] = (.*?);$", re.M | re.S)
LITERAL = re.compile(r'"((?:\\.|[^"\\])*)"')


def shown(body):
    """The literals of a function in their order, ... between those that are
    not written side by side."""
    text = ""
    end = None
    for literal in LITERAL.finditer(body):
        if end is not None and body[end:literal.start()].strip():
            text += "…"
        elif end is None and re.search(r"\+\s*$", body[:literal.start()]):
            text += "…"
        text += literal.group(1).replace('\\"', '"')
        end = literal.end()
    if end is not None and re.search(r"\+|append", body[end:]):
        text += "…"
    return text


def texts(root):
    found = {}
    for file in sorted((root / "src").rglob("*_messages.cpp")):
        source = file.read_text("utf-8")
        source = re.sub(r"^ *//.*$", "", source, flags=re.M)
        # Helpers are part of the texts that call them.
        source = re.sub(r"^namespace \{.*?^\}  // namespace$", "", source,
                        flags=re.M | re.S)
        for match in TEXT.finditer(source):
            name = match.group(1) or match.group(3)
            body = match.group(2) or match.group(4)
            found[f"{file.stem}.{name}"] = shown(body)
    return found


def lines(root):
    known = {}
    for number, line in enumerate(
            (root / "docs/messages.txt").read_text("utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        parts = [part.strip() for part in line.split("|")]
        if len(parts) != 3 or not all(parts) or parts[0] in known:
            sys.exit(f"docs/messages.txt:{number}: not NAME | cause | cure, or "
                     "there twice")
        known[parts[0]] = parts[1:]
    return known


def page(root):
    known = lines(root)
    out = ["# Messages", "",
           "Every text of the library's own log, with … for what is put in. "
           "English ones that are not here name cause and cure themselves.", ""]
    last = ""
    for name, text in texts(root).items():
        stem = name.split(".")[0]
        if stem != last:
            title = stem.removesuffix("_messages").replace("_", " ")
            out += ["", f"## {title}", "", "| text | cause | cure |",
                    "|---|---|---|"]
            last = stem
        cause, cure = known[name]
        out.append(f"| `{text.replace('|', '/')}` | {cause} | {cure} |")
    return "\n".join(out) + "\n"


def main():
    action, root = sys.argv[1], pathlib.Path(sys.argv[2])
    if action == "--page":
        print(page(root), end="")
        return 0
    found, known = texts(root), lines(root)
    faults = [f"docs/messages.txt lacks {name}: {found[name]}"
              for name in sorted(found.keys() - known.keys())]
    faults += [f"docs/messages.txt has {name}, which is no text any more"
               for name in sorted(known.keys() - found.keys())]
    print("\n".join(faults) or f"{len(found)} messages")
    return 1 if faults or not found else 0


if __name__ == "__main__":
    sys.exit(main())
