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

LITERAL = re.compile(r'"((?:\\.|[^"\\])*)"')
# A function of texts with its parameters and the expression it returns, or a
# constant.
FUNCTION = re.compile(
    r"^(?:extern )?(?:std::string|const char\*) (\w+)\(([^)]*)\)\s*"
    r"\{\s*return (.*?);\s*\}"
    r"|^ *(?:constexpr |const )+char(?:\[\]|\*)? (k\w+)(?:\[\])? = (.*?);$",
    re.M | re.S)

# How an English text begins, in the sources: what is handed on to be logged, and
# the second argument of what logs.
ENGLISH = re.compile(
    r"(?:[A-Za-z]\w*(?:::\w+)? (?:Failed|Error|Info|(?:assign )?exception)\b"
    r"|[A-Z]\w*::\w+:? (?:open |close )?(?:failed|exception|DbException)\b"
    r"|IsolatedModule: |FileQueue: |NTService: )")
LOG_CALL = re.compile(
    r"\bLog(?:Error|Fatal|Warning|SevereWarning|Information|Plain)\([^,]*,"
    r"|\bLog(?:Problem|ExceptionAtHand)\(")
# Said where no log is, or of no subsystem.
NO_ENTRIES = ("unexpected exception", "unknown exception",
              r"Log::Output failed, Open() return false\n")
# Entries that begin with a variable: the file, how what is logged begins there,
# and how the entries begin. None where its callers write them, as texts that are
# found there.
BEGUN_BY_A_VARIABLE = {
    ("src/dm/schema_export.cpp", "text"): [],
    ("src/mq/file_queue.cpp", "text"): [],
    ("src/mq/file_queue_settings.cpp", "text"): [],
    ("src/mq/msmq_queue.cpp", "start"):
        ["MsmqQueue::Send Failed: '", "MsmqQueue::Send Info: 'orders' works again"],
    ("src/mq/reader_failure.cpp", "std::string(function"):
        ["queue_reader_func Failed: ", "serial_queue_reader_func Failed: ",
         "com_queue_reader_func Failed: "],
    ("src/remote/client_file_change.cpp", "std::string("):
        ["'client.xml' was kept as '"],
    ("src/remote/failure.cpp", "log_text"):
        ["rmt_ping Failed: ", "IceHelper::CreateCommunicator Failed: "],
    ("src/remote/library_logger.cpp", "Entry"): ["Ice: "],
    ("src/store/ado/ado_parse.cpp", "fault"): [],
    ("src/store/ado/ado_parse.cpp", "text"): [],
    ("src/store/ado/guarded_call.h", "message"): [],
    ("src/util/md5_digests.cpp", "HashFailed"): ["md5_hash_string '"],
    ("src/xdb/environment_opening.cpp", "failed"): [],
    ("src/xdb/environment_opening.cpp", "text"): [],
    ("src/xdb/xdb_container.cpp", "message"): [],
    ("src/xdb/xdb_manager.cpp", "text"): [],
    ("src/xdb/xdb_text.cpp", "message"): [],
    ("src/xdb/xdb_text.h", "message"): [],
    ("src/xml/dom_error_handler.cpp", "Opening"):
        ["Warning at file ", "Error at file ", "Fatal Error at file "],
    ("src/xml/dom_parser.cpp", "entry"): ["DOM Error during parsing: '"],
    ("src/xml/xml_guard.cpp", "std::string(operation"):
        ["DomNode Failed: ", "DomNode::AppendChild Failed: ",
         "DomDocumentContent Failed: "],
}


def without_comments(source):
    """The source without comments, and no quotation mark but those of texts."""
    source = re.sub(r"^\s*//.*$|\s// .*$", "", source, flags=re.M)
    return re.sub(r"'\\?\"'", "0", source)


def joined(source):
    """The source with literals that stand side by side as one."""
    return re.sub(r'("(?:\\.|[^"\\])*")(?:\s*"(?:\\.|[^"\\])*")*',
                  lambda match: '"' + "".join(LITERAL.findall(match.group(0))) + '"',
                  source)


def split(expression, separator):
    """The parts of an expression between the separators that are in no literal
    and no parentheses."""
    parts, depth, part = [], 0, ""
    for token in re.findall(r'"(?:\\.|[^"\\])*"|.', expression, re.S):
        if token == separator and depth == 0:
            parts.append(part.strip())
            part = ""
        else:
            depth += (token in "([{") - (token in ")]}")
            part += token
    return parts + [part.strip()]


def shown(expression, known=None):
    """What an expression of texts gives, ... for what is put in. `known` has
    constants, arguments and functions by name: (parameters, expression)."""
    known = known or {}
    text = ""
    for term in split(expression, "+"):
        literal = LITERAL.fullmatch(term)
        call = re.fullmatch(r"([\w:]+)\((.*)\)", term, re.S)
        if literal:
            text += literal.group(1).replace('\\"', '"')
        elif term in known and known[term][0] is None:
            text += shown(known[term][1], known)
        elif call and call.group(1) in known:
            parameters, body = known[call.group(1)]
            arguments = dict(known)
            for name, given in zip(parameters, split(call.group(2), ",")):
                arguments[name] = (None, f'"{shown(given, known)}"')
            text += shown(body, arguments)
        elif call and call.group(1) == "std::string":
            text += shown(call.group(2), known)
        else:
            text += "…"
    return re.sub("…+", "…", text)


def texts(root):
    found = {}
    for file in sorted((root / "src").rglob("*_messages.cpp")):
        source = file.read_text("utf-8")
        # The file's own functions are part of the texts that call them.
        own = re.findall(r"^namespace \{.*?^\}  // namespace$", source,
                         re.M | re.S)
        known = {}
        for match in FUNCTION.finditer(joined(without_comments(source))):
            name = match.group(1) or match.group(4)
            parameters = None if match.group(1) is None else re.findall(
                r"(\w+)\s*(?:,|$)", match.group(2))
            known[name] = parameters, match.group(3) or match.group(5)
            if not re.search(rf"\b{name}\b", "".join(own)):
                found[f"{file.stem}.{name}"] = shown(known[name][1], known)
    return found


def logged(source):
    """What is logged, without where it is."""
    for match in LOG_CALL.finditer(source):
        rest = split(source[match.end():match.end() + 2000], ")")[0]
        text = split(rest, ",")[0]
        if not re.match(r"const (char|std)", text):
            yield text


def english_texts(root):
    """How the English texts begin, each with a file that has it; and what is
    wrong with the list of those that begin with a variable."""
    found, faults = {}, []
    listed = {(file, start): False for file, start in BEGUN_BY_A_VARIABLE}
    for file in sorted((root / "src").rglob("*")):
        if not re.search(r"(?<!_test)(?<!_messages)\.(cpp|h)$", file.name):
            continue
        name = file.relative_to(root).as_posix()
        source = joined(without_comments(file.read_text("utf-8")))
        texts_here = [text for text in LITERAL.findall(source)
                      if ENGLISH.match(text)]
        constants = {match.group(4): (None, match.group(5))
                     for match in FUNCTION.finditer(source) if match.group(4)}
        for argument in logged(source):
            text = re.sub(r"^(\\n)+", "", shown(argument, constants))
            start = re.match(r"(std::string\(\w*|\w*)", argument).group(0)
            if re.match(r"[^…]{8}", text):
                texts_here.append(text)
            elif (name, start) in listed:
                listed[name, start] = True
                texts_here += BEGUN_BY_A_VARIABLE[name, start]
            elif "message::" not in argument:
                faults.append(f"tools/message_index.py does not know how an entry "
                              f"of {name} begins: {argument}")
        for text in texts_here:
            if text not in NO_ENTRIES:
                found.setdefault(text, name)
    return found, faults + [
        f"tools/message_index.py: {file} logs nothing that begins with {start}"
        for (file, start), is_there in listed.items() if not is_there]


def pattern(beginning):
    """The regular expression of a line of messages-english.txt."""
    return re.compile(re.escape(beginning).replace("…", ".*").replace(
        r"\*", r"[\w…]*"))


def english_faults(root, known):
    found, faults = english_texts(root)
    used = set()
    patterns = {beginning: pattern(beginning) for beginning in known}
    for text, file in found.items():
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
        if "<" in re.sub(r"`[^`]*`", "", line):
            sys.exit(f"docs/{name}:{number}: a page takes the < for HTML; write "
                     "`<element>`")
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
            "The first line that fits; * stands for a name, … for what is put in.", "",
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
