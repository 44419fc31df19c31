#!/usr/bin/env python3
"""Times queries as a collection grows, and plots it.

plot_growth.py [--data FOLDER] [--timer PROGRAM] [--output FILE]

The point look-up and the join over 2,000, 20,000 and 200,000 orders: the fewest
milliseconds of three runs behind one more. The plot goes to the file, the
figures are printed.
"""
import argparse
import os
import pathlib
import sys
import tempfile

import compare

sys.path.insert(0, str(compare.ROOT / "tools"))
import svg_plot  # noqa: E402

COUNTS = (2_000, 20_000, 200_000)
QUERIES = {"o1_point": ("point look-up", svg_plot.OURS),
           "o4_join": ("join", svg_plot.PEER)}
RUNS = 3


def measure(data, timer):
    """Milliseconds by query, of each count."""
    figures = {query: [] for query in QUERIES}
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
            measured, _, megabytes = ours.times(queries, RUNS, work)
            for query in queries:
                figures[query.stem].append(measured[query.name])
                print(query.stem, count, measured[query.name], "ms", flush=True)
            print("most memory", count, megabytes, "MB", flush=True)
    return figures


def plot(figures):
    """Both axes logarithmic: a straight line of slope 1 is linear growth."""
    left, right, top, bottom = 70, svg_plot.WIDTH - 130, 34, 290
    x = svg_plot.Log(COUNTS, left, right)
    y = svg_plot.Log([one for row in figures.values() for one in row], bottom,
                     top)
    text, line = svg_plot.text, svg_plot.line
    parts = [text(left, 16, "milliseconds"),
             text((left + right) / 2, bottom + 36, "documents", "middle")]
    for tick in x.ticks:
        parts += [line(x.at(tick), top, x.at(tick), bottom),
                  text(x.at(tick), bottom + 16, svg_plot.short(tick), "middle")]
    for tick in y.ticks:
        parts += [line(left, y.at(tick), right, y.at(tick)),
                  text(left - 6, y.at(tick) + 4, f"{tick:g}", "end")]
    for query, (title, color) in QUERIES.items():
        places = [(x.at(count), y.at(figure))
                  for count, figure in zip(COUNTS, figures[query])]
        joined = " ".join(f"{a:.1f},{b:.1f}" for a, b in places)
        parts.append(f'<polyline fill="none" stroke="{color}" '
                     f'stroke-width="2" points="{joined}"/>')
        parts += [f'<circle cx="{a:.1f}" cy="{b:.1f}" r="3" fill="{color}"/>'
                  for a, b in places]
        parts.append(text(places[-1][0] + 8, places[-1][1] + 4, title,
                          extra=f' fill="{color}"'))
    return svg_plot.picture(bottom + 46, parts)


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--data", type=pathlib.Path, default=pathlib.Path(
        os.environ.get("KIV_DATA", compare.ROOT.parent / "shared/data")))
    parser.add_argument("--timer", type=pathlib.Path,
                        default=compare.ROOT / "build/release/bin/query_timer")
    parser.add_argument("--output", type=pathlib.Path,
                        default=compare.ROOT / "build/bench/xquery-growth.svg")
    options = parser.parse_args()
    if not (options.data / "orders").is_dir():
        print(f"skipped: there is no {options.data / 'orders'}")
        return
    options.output.parent.mkdir(parents=True, exist_ok=True)
    options.output.write_text(plot(measure(options.data, options.timer)))


if __name__ == "__main__":
    main()
