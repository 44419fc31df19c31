#!/usr/bin/env python3
"""Makes the pages of the documentation: site.py ROOT OUT

Every docs/*.md is a page, in the order below and then by name; the decisions
and the index of messages are pages, too. Links between the Markdown files
become links between the pages. A link that leads nowhere, or to a heading that is
not there, is a fault, and so is a picture that is missing, a page that no other
leads to, and a link of README.md or CHANGELOG.md to a file that is not there.
"""
import html
import os
import pathlib
import re
import shutil
import subprocess
import sys

import markdown

import architecture_picture

ORDER = ["index", "five-minutes", "migration", "architecture", "services",
         "queues", "durable-queues", "file-queue", "log", "xml", "kiv", "messages",
         "reliability", "performance"]
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
img{max-width:100%}
@media(max-width:50rem){body{display:block}nav{position:static;border:0}}
"""


# How the title of every page ends.
MARK = " - sharelib</title>"

# Pages that a run writes, and what runs.
WRITTEN = {"reliability": "scripts/scenarios", "performance": "scripts/bench",
           "bare-system": "scripts/bare"}


def title_of(text, name):
    match = re.search(r"^# (.+)$", text, re.M)
    return match.group(1) if match else name


def sources(root):
    """{page name: Markdown}"""
    docs = root / "docs"
    pages = {file.stem: file.read_text("utf-8") for file in docs.glob("*.md")}
    for name, script in WRITTEN.items():
        pages.setdefault(name, f"# {name.capitalize().replace('-', ' ')}\n\n"
                               f"`{script}` was not run yet.\n")
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


def anchors(body):
    return set(re.findall(r'id="([^"]+)"', body))


def linked(name, bodies, docs, pictures, faults):
    """The body, with links to Markdown files as links to their pages. What it
    leads to is seen to; its pictures are added to those to copy."""
    folder = os.path.dirname(name)

    def resolved(target):
        return os.path.normpath(os.path.join(folder, target))

    def page_of(match):
        target, _, anchor = match.group(1).partition("#")
        where = resolved(target.removesuffix(".md")) if target else name
        if where == "decisions/README":
            where = "decisions/index"
        if target and not target.endswith(".md"):
            faults.append(f"{name}: {target} is no page")
        elif where not in bodies:
            faults.append(f"{name}: {target} is not there")
        elif anchor and anchor not in anchors(bodies[where]):
            faults.append(f"{name}: {match.group(1)}: there is no such heading")
        end = "#" + anchor if anchor else ""
        if not target:
            return f'href="{end}"'
        return f'href="{os.path.relpath(where, folder or ".")}.html{end}"'

    def picture_of(match):
        where = resolved(match.group(1))
        if (docs / where).is_file():
            pictures.add(where)
        else:
            faults.append(f"{name}: the picture {match.group(1)} is missing")
        return match.group(0)

    body = re.sub(r'href="(?!https?:)([^"]+)"', page_of, bodies[name])
    return re.sub(r'src="(?!https?:)([^"]+)"', picture_of, body)


def unreachable(pages, bodies):
    """Pages that no page leads to."""
    seen = {"index"}
    for name, body in bodies.items():
        for target in re.findall(r'href="([^"#]+)\.md', body):
            seen.add(os.path.normpath(os.path.join(os.path.dirname(name),
                                                   target)))
    return sorted(name for name in pages
                  if name not in seen and name != "decisions/index")


def loose_links(root):
    """Links of the files above docs/ that lead to no file."""
    faults = []
    for file in ("README.md", "CHANGELOG.md"):
        for target in re.findall(r"\]\((?!https?:)([^)#]+)",
                                 (root / file).read_text("utf-8")):
            written = pathlib.PurePath(target).stem in WRITTEN
            if not written and not (root / target).exists():
                faults.append(f"{file}: {target} is not there")
    return faults


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
    faults = loose_links(root)
    docs = root / "docs"
    if (docs / "architecture.svg").read_text("utf-8") != architecture_picture.draw(
            *architecture_picture.read(
                (docs / "architecture.txt").read_text("utf-8"))):
        faults.append("architecture.svg is not what architecture.txt says: "
                      "scripts/docs draws it")
    pictures, written = set(), set()
    bodies = {name: markdown.markdown(
        text, extensions=["tables", "fenced_code", "toc", "sane_lists"])
        for name, text in pages.items()}
    faults += [f"{name}: no page leads to it; docs/index.md should"
               for name in unreachable(pages, bodies)]
    for name, text in pages.items():
        file = out / (name + ".html")
        written.add(file)
        file.parent.mkdir(parents=True, exist_ok=True)
        body = linked(name, bodies, docs, pictures, faults)
        file.write_text(
            '<!doctype html>\n<html lang="en"><head><meta charset="utf-8">\n'
            '<meta name="viewport" content="width=device-width">\n'
            f"<title>{html.escape(title_of(text, name))}{MARK}\n"
            f"<style>{STYLE}</style></head><body>\n"
            f"<nav>{navigation(name, pages)}</nav>\n"
            f"<main>{body}</main>\n</body></html>\n", "utf-8")
    # Pages of an earlier run that are none any more.
    for file in set(out.rglob("*.html")) - written:
        if MARK in file.read_text("utf-8", "replace"):
            file.unlink()
    for picture in pictures:
        (out / picture).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy(docs / picture, out / picture)
    print("\n".join(faults) or f"{len(pages)} pages in {out}")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
