#!/usr/bin/env python3
"""Draws docs/architecture.svg: architecture_picture.py TEXT [SVG]

TEXT says in its head what it consists of. Without SVG, or when that is as it
should be already, nothing is written.
"""
import html
import pathlib
import sys

COLUMN, BOX_WIDTH, BOX_HEIGHT, ROW = 158, 132, 62, 82
LEFT, GUTTER, GAP, PAD = 16, 104, 14, 14


def lines_of(text):
    return [line.strip() for line in text.split(";")]


def read(text):
    strips, boxes, ways = [], {}, []
    for line in text.splitlines():
        if not line or line.startswith("#"):
            continue
        word, _, rest = line.partition(" ")
        parts = [part.strip() for part in rest.split("|")]
        if word == "strip":
            strips.append({"title": lines_of(parts[0]), "color": parts[1], "rows": 1})
        elif word == "box":
            column, row = (int(number) for number in parts[1].split(","))
            strips[-1]["rows"] = max(strips[-1]["rows"], row + 1)
            boxes[parts[0]] = {"strip": len(strips) - 1, "column": column,
                               "row": row, "lines": lines_of(parts[2])}
        elif word == "way":
            ways.append({"color": parts[0], "name": parts[1], "steps": []})
        elif word == "step":
            begin, end = (name.strip() for name in parts[0].split(">"))
            ways[-1]["steps"].append((boxes[begin], boxes[end], parts[1]))
        else:
            sys.exit(f"{line}: what is that?")
    return strips, boxes, ways


def place(strips, boxes):
    """The height of all; boxes and strips then know where they are."""
    y = LEFT
    for strip in strips:
        strip["y"] = y
        strip["height"] = strip["rows"] * ROW - (ROW - BOX_HEIGHT) + 2 * PAD
        y += strip["height"] + GAP
    for box in boxes.values():
        box["x"] = LEFT + GUTTER + box["column"] * COLUMN
        box["y"] = strips[box["strip"]]["y"] + PAD + box["row"] * ROW
    return y + 24


def label(x, y, text, extra=""):
    return f'<text x="{x:.0f}" y="{y:.0f}"{extra}>{html.escape(text)}</text>'


def box_parts(box):
    middle = box["x"] + BOX_WIDTH / 2
    top = box["y"] + BOX_HEIGHT / 2 - 7.5 * (len(box["lines"]) - 1) + 4
    return [f'<rect x="{box["x"]}" y="{box["y"]}" width="{BOX_WIDTH}" '
            f'height="{BOX_HEIGHT}" rx="7" fill="white" stroke="#5b6b7b"/>'] + [
        label(middle, top + 15 * number, line, ' text-anchor="middle"'
              + (' font-weight="bold"' if number == 0 else ""))
        for number, line in enumerate(box["lines"])]


def ends(begin, end):
    """Straight from side to side, or along the column between the strips."""
    if begin["column"] != end["column"] and (
            begin["y"] != end["y"]):
        sys.exit("a step leads to a box that is neither beside nor below")
    if begin["y"] == end["y"]:
        y = begin["y"] + BOX_HEIGHT / 2
        if begin["x"] < end["x"]:
            return begin["x"] + BOX_WIDTH, y, end["x"], y
        return begin["x"], y, end["x"] + BOX_WIDTH, y
    x = begin["x"] + BOX_WIDTH / 2
    if begin["y"] < end["y"]:
        return x, begin["y"] + BOX_HEIGHT, x, end["y"]
    return x, begin["y"], x, end["y"] + BOX_HEIGHT


def way_parts(way, number):
    parts = [f'<marker id="head{number}" viewBox="0 0 8 8" refX="8" refY="4" '
             'markerWidth="9" markerHeight="9" orient="auto" '
             'markerUnits="userSpaceOnUse">'
             f'<path d="M0 0L8 4L0 8z" fill="{way["color"]}"/></marker>']
    for begin, end, mark in way["steps"]:
        x1, y1, x2, y2 = ends(begin, end)
        x, y = (x1 + x2) / 2, (y1 + y2) / 2
        parts += [
            f'<line x1="{x1:.0f}" y1="{y1:.0f}" x2="{x2:.0f}" y2="{y2:.0f}" '
            f'stroke="{way["color"]}" stroke-width="2" '
            f'marker-end="url(#head{number})"/>',
            f'<circle cx="{x:.0f}" cy="{y:.0f}" r="8" fill="{way["color"]}"/>',
            label(x, y + 4, mark, ' text-anchor="middle" fill="white" '
                                  'font-size="11" font-weight="bold"')]
    return parts


def draw(strips, boxes, ways):
    height = place(strips, boxes)
    inner = GUTTER + PAD + COLUMN * (1 + max(b["column"] for b in boxes.values())) - (
        COLUMN - BOX_WIDTH)
    width = inner + 2 * LEFT
    parts = ['<rect width="100%" height="100%" fill="white"/>']
    for strip in strips:
        parts += [f'<rect x="{LEFT}" y="{strip["y"]}" width="{inner}" '
                  f'height="{strip["height"]}" rx="10" '
                  f'fill="{strip["color"]}"/>']
        middle = strip["y"] + strip["height"] / 2
        for number, line in enumerate(strip["title"]):
            shift = 15 * (number - (len(strip["title"]) - 1) / 2) + 4
            parts.append(label(LEFT + PAD, middle + shift, line,
                               ' fill="#44505c"' + (
                                   ' font-weight="bold"' if number == 0 else "")))
    for box in boxes.values():
        parts += box_parts(box)
    x = LEFT + GUTTER
    for number, way in enumerate(ways):
        parts += way_parts(way, number)
        parts.append(label(x, height - 12, "the way of " + way["name"],
                           f' fill="{way["color"]}" font-weight="bold"'))
        x += 180
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} '
            f'{height}" font-family="sans-serif" font-size="12">\n'
            + "\n".join(parts) + "\n</svg>\n")


def main():
    svg = draw(*read(pathlib.Path(sys.argv[1]).read_text("utf-8")))
    if len(sys.argv) > 2:
        target = pathlib.Path(sys.argv[2])
        if not target.exists() or target.read_text("utf-8") != svg:
            target.write_text(svg, "utf-8")
    return 0


if __name__ == "__main__":
    sys.exit(main())
