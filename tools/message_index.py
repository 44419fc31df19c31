#!/usr/bin/env python3
"""The index of the library's messages: text, cause, cure.

usage: message_index.py --check ROOT    fails when a text has no cause and cure,
                                        or a line of docs/messages*.txt no text
       message_index.py --page ROOT     the index as Markdown

The texts come from the *_messages.cpp files, with ... for what is put in. Those
that the sources themselves have are English; they are known by how they begin.
"""
import pathlib
import re
import sys

TEXT = re.compile(
    r"^(?:extern )?(?:std::string|const char\*) (\w+)\([^)]*\)\s*\{(.*?)(?:^\}| \})$"
    r"|^const char (k\w+)\[\] = (.*?);$", re.M | re.S)
LITERAL = re.compile(r'"((?:\\.|[^"\\])*)"')


# How an English text begins, in the sources.
ENGLISH = re.compile(
    r'"((?:[A-Za-z]\w*(?:::\w+)? (?:Failed|Error|Info|(?:assign )?exception)\b'
    r'|IsolatedModule: |FileQueue: )[^"]*)"')
# Said where no log is, or of no subsystem.
NO_ENTRIES = ("unexpected exception", "unknown exception")


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


def english_texts(root):
    """How the English texts begin, each with a file that has it."""
    found = {}
    for file in sorted((root / "src").rglob("*.cpp")):
        if re.search(r"_(test|messages)\.cpp$", file.name):
            continue
        for text in ENGLISH.findall(file.read_text("utf-8")):
            if text not in NO_ENTRIES:
                found.setdefault(text, file.relative_to(root))
    return found


def pattern(beginning):
    """The regular expression of a line of messages-english.txt."""
    return re.compile(r"\w*".join(map(re.escape, beginning.split("*"))))


def english_faults(root, known):
    faults, used = [], set()
    patterns = {beginning: pattern(beginning) for beginning in known}
    for text, file in english_texts(root).items():
        fitting = [beginning for beginning, expression in patterns.items()
                   if expression.match(text)]
        if not fitting:
            faults.append(f"docs/messages-english.txt lacks {text} of {file}")
        # The first that fits is what the reader finds.
        used.update(fitting[:1])
    return faults + [f"docs/messages-english.txt has {beginning}, behind which no "
                     "text is left" for beginning in known
                     if beginning not in used]


def lines(root, name="messages.txt"):
    known = {}
    for number, line in enumerate(
            (root / "docs" / name).read_text("utf-8").splitlines(), 1):
        if not line or line.startswith("#"):
            continue
        parts = [part.strip() for part in line.split("|")]
        if len(parts) != 3 or not all(parts) or parts[0] in known:
            sys.exit(f"docs/{name}:{number}: not NAME | cause | cure, or there "
                     "twice")
        known[parts[0]] = parts[1:]
    return known


def page(root):
    known = lines(root)
    out = ["# Messages", "",
           "Every text of the library's own log, with … for what is put in. Those "
           "in [English](#english-texts) stand at the end, by how they begin. "
           "`kiv log` shows the log as UTF-8.", ""]
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
    out += ["", "## English texts", "",
            "The first line that fits; * stands for a name.", "",
            "| begins with | cause | cure |", "|---|---|---|"]
    for beginning, (cause, cure) in lines(root, "messages-english.txt").items():
        out.append(f"| `{beginning}` | {cause} | {cure} |")
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
    english = lines(root, "messages-english.txt")
    faults += english_faults(root, english)
    print("\n".join(faults) or f"{len(found)} messages, {len(english)} beginnings "
          "of English ones")
    return 1 if faults or not found else 0


if __name__ == "__main__":
    sys.exit(main())
