#!/usr/bin/env python3
"""Times queries as a collection grows, and plots it.

plot_growth.py [--data FOLDER] [--timer PROGRAM] [--output FOLDER]

The point look-up and the join over 2,000, 20,000 and 200,000 orders: the fewest
milliseconds of three runs behind one more, in xquery-growth.csv and as
xquery-growth.svg. --plot-only draws the plot anew from the figures there.
"""
import argparse
import csv
import math
import os
import pathlib
import sys
import tempfile

import compare

COUNTS = (2_000, 20_000, 200_000)
QUERIES = {"o1_point": "point look-up", "o4_join": "join"}
COLORS = {"o1_point": "#1f6f8b", "o4_join": "#b5532a"}
WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM = 640, 400, 70, 130, 30, 50


def measure(data, timer):
    rows = []
    for count in COUNTS:
        # Not in /tmp, which may be memory.
        with tempfile.TemporaryDirectory(dir=pathlib.Path.cwd(),
                                         prefix="kiv_growth_") as folder:
            work = pathlib.Path(folder)
            queries = [query for query in
                       compare.write_queries(data, work / "queries")
                       if query.stem in QUERIES]
            compare.run([sys.executable, data / "orders/gen_orders.py",
                         work / "orders", count])
            ours = compare.Ours(timer, work)
            ours.load("orders", work / "orders")
            figures, _, megabytes = ours.times(queries, 3, work)
            for query in queries:
                rows.append((query.stem, count, figures[query.name]))
                print(query.stem, count, figures[query.name], "ms", flush=True)
            print("most memory", count, megabytes, "MB", flush=True)
    return rows


def plot(rows):
    """Both axes logarithmic: a straight line of slope 1 is linear growth."""
    least = math.floor(math.log10(min(row[2] for row in rows)))
    most = math.ceil(math.log10(max(row[2] for row in rows)))
    first, last = math.log10(COUNTS[0]), math.log10(COUNTS[-1])

    def x(count):
        return LEFT + (math.log10(count) - first) / (last - first) * (
            WIDTH - LEFT - RIGHT)

    def y(figure):
        return TOP + (most - math.log10(figure)) / (most - least) * (
            HEIGHT - TOP - BOTTOM)

    out = [f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" '
           f'height="{HEIGHT}" viewBox="0 0 {WIDTH} {HEIGHT}" '
           'font-family="sans-serif" font-size="13">',
           f'<rect width="{WIDTH}" height="{HEIGHT}" fill="white"/>']
    for power in range(least, most + 1):
        at = y(10 ** power)
        out.append(f'<path d="M{LEFT} {at:.1f}H{WIDTH - RIGHT}" '
                   'stroke="#ddd"/>')
        out.append(f'<text x="{LEFT - 8}" y="{at + 4:.1f}" '
                   f'text-anchor="end">{10 ** power:g}</text>')
    for count in COUNTS:
        out.append(f'<text x="{x(count):.1f}" y="{HEIGHT - BOTTOM + 20}" '
                   f'text-anchor="middle">{count:,}</text>')
    out.append(f'<text x="{LEFT}" y="18">milliseconds</text>')
    out.append(f'<text x="{(LEFT + WIDTH - RIGHT) / 2}" y="{HEIGHT - 8}" '
               'text-anchor="middle">documents</text>')
    for query, title in QUERIES.items():
        points = [(x(count), y(figure)) for name, count, figure in rows
                  if name == query]
        line = " ".join(f"{a:.1f},{b:.1f}" for a, b in points)
        color = COLORS[query]
        out.append(f'<polyline points="{line}" fill="none" stroke="{color}" '
                   'stroke-width="2"/>')
        out += [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="4" fill="{color}"/>'
                for a, b in points]
        out.append(f'<text x="{points[-1][0] + 10:.1f}" '
                   f'y="{points[-1][1] + 4:.1f}" fill="{color}">{title}</text>')
    out.append("</svg>")
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--data", type=pathlib.Path, default=pathlib.Path(
        os.environ.get("KIV_DATA", compare.ROOT.parent / "shared/data")))
    parser.add_argument("--timer", type=pathlib.Path,
                        default=compare.ROOT / "build/release/bin/query_timer")
    parser.add_argument("--output", type=pathlib.Path,
                        default=compare.ROOT / "docs")
    parser.add_argument("--plot-only", action="store_true")
    options = parser.parse_args()
    table = options.output / "xquery-growth.csv"
    if options.plot_only:
        with table.open(newline="") as file:
            rows = [(query, int(count), float(figure))
                    for query, count, figure in list(csv.reader(file))[1:]]
    else:
        rows = measure(options.data, options.timer)
        with table.open("w", newline="") as file:
            writer = csv.writer(file, lineterminator="\n")
            writer.writerow(("query", "documents", "milliseconds"))
            writer.writerows(rows)
    (options.output / "xquery-growth.svg").write_text(plot(rows))
    return 0


if __name__ == "__main__":
    sys.exit(main())
