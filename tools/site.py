#!/usr/bin/env python3
"""Makes the pages of the documentation: site.py ROOT OUT

Every docs/*.md is a page, in the order below and then by name; the decisions
and the index of messages are pages, too. Links between the Markdown files
become links between the pages, and one that leads nowhere is a fault.
"""
import html
import os
import pathlib
import re
import subprocess
import sys

import markdown

ORDER = ["index", "five-minutes", "migration", "services", "queues",
         "durable-queues", "file_queue", "log", "xml", "kiv", "messages"]
STYLE = """
:root{color-scheme:light dark;--line:#8884;--soft:#8882;--link:#0b62c4}
@media(prefers-color-scheme:dark){:root{--link:#7db7ff}}
*{box-sizing:border-box}
body{margin:0;font:16px/1.55 system-ui,sans-serif;display:flex;min-height:100vh}
nav{flex:0 0 15rem;padding:1.5rem;border-right:1px solid var(--line);
position:sticky;top:0;align-self:flex-start;max-height:100vh;overflow:auto}
nav b{display:block;margin-bottom:.7rem}nav a{display:block;padding:.12rem 0}
nav a.here{font-weight:600}
main{flex:1;min-width:0;max-width:54rem;padding:1.5rem 2.5rem 5rem}
a{color:var(--link);text-decoration:none}a:hover{text-decoration:underline}
h1{font-size:1.9rem;line-height:1.2}h2{margin-top:2.2rem}
code{font:.88em/1.45 ui-monospace,monospace;background:var(--soft);
padding:.1em .3em;border-radius:4px}
pre{background:var(--soft);padding:.9rem 1rem;border-radius:8px;overflow:auto}
pre code{background:none;padding:0}
table{border-collapse:collapse;display:block;overflow:auto}
th,td{border:1px solid var(--line);padding:.35rem .6rem;text-align:left;
vertical-align:top}
@media(max-width:50rem){body{display:block}nav{position:static;border:0}}
"""


def title_of(text, name):
    match = re.search(r"^# (.+)$", text, re.M)
    return match.group(1) if match else name


def sources(root):
    """{page name: Markdown}"""
    docs = root / "docs"
    pages = {file.stem: file.read_text("utf-8") for file in docs.glob("*.md")}
    for file in (docs / "decisions").glob("*.md"):
        name = "index" if file.stem == "README" else file.stem
        pages["decisions/" + name] = file.read_text("utf-8")
    pages["messages"] = subprocess.run(
        [sys.executable, str(root / "tools/message_index.py"), "--page",
         str(root)], check=True, capture_output=True, text=True).stdout
    decisions = sorted(name for name in pages if re.match(r"decisions/\d", name))
    pages["decisions/index"] += "\n" + "\n".join(
        f"- [{title_of(pages[name], name)}]({name.split('/')[1]}.md)"
        for name in decisions) + "\n"
    return pages


def linked(body, name, pages, faults):
    """Links between Markdown files lead to the pages of those."""
    folder = os.path.dirname(name)

    def page_of(match):
        target, anchor = match.group(1), match.group(2) or ""
        where = os.path.normpath(os.path.join(folder, target))
        if where.endswith("decisions/README"):
            where = "decisions/index"
        if where not in pages:
            faults.append(f"{name}: {target}.md is no page")
        return f'href="{os.path.relpath(where, folder or ".")}.html{anchor}"'

    return re.sub(r'href="(?!https?:)([^"#]+)\.md(#[^"]*)?"', page_of, body)


def navigation(name, pages):
    folder = os.path.dirname(name) or "."
    top = [page for page in pages if "/" not in page]
    rank = {page: number for number, page in enumerate(ORDER)}
    top.sort(key=lambda page: (rank.get(page, len(rank)), page))
    lines = ["<b>sharelib</b>"]
    for page in top + ["decisions/index"]:
        here = ' class="here"' if page == name else ""
        lines.append(f'<a{here} href="{os.path.relpath(page, folder)}.html">'
                     f"{html.escape(title_of(pages[page], page))}</a>")
    return "\n".join(lines)


def main():
    root, out = pathlib.Path(sys.argv[1]).resolve(), pathlib.Path(sys.argv[2])
    pages = sources(root)
    faults = []
    for name, text in pages.items():
        body = markdown.markdown(
            text, extensions=["tables", "fenced_code", "toc", "sane_lists"])
        file = out / (name + ".html")
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(
            '<!doctype html>\n<html lang="en"><head><meta charset="utf-8">\n'
            '<meta name="viewport" content="width=device-width">\n'
            f"<title>{html.escape(title_of(text, name))} - sharelib</title>\n"
            f"<style>{STYLE}</style></head><body>\n"
            f"<nav>{navigation(name, pages)}</nav>\n"
            f"<main>{linked(body, name, pages, faults)}</main>\n"
            "</body></html>\n", "utf-8")
    print("\n".join(faults) or f"{len(pages)} pages in {out}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
