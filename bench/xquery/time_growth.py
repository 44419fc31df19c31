#!/usr/bin/env python3
"""Times queries as a collection grows.

time_growth.py [--data FOLDER] [--timer PROGRAM] [--output FILE]

The point look-up and the join over 2,000, 20,000 and 200,000 orders: the fewest
milliseconds of three runs behind one more. The figures are printed and go to the
file, as JSON for tools/performance_page.py.
"""
import argparse
import json
import os
import pathlib
import sys
import tempfile

import compare

COUNTS = (2_000, 20_000, 200_000)
QUERIES = {"o1_point": "point look-up", "o4_join": "join"}
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


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--data", type=pathlib.Path, default=pathlib.Path(
        os.environ.get("KIV_DATA", compare.ROOT.parent / "shared/data")))
    parser.add_argument("--timer", type=pathlib.Path,
                        default=compare.ROOT / "build/release/bin/query_timer")
    parser.add_argument("--output", type=pathlib.Path,
                        default=compare.ROOT / "build/bench/xquery-growth.json")
    options = parser.parse_args()
    if not (options.data / "orders").is_dir():
        print(f"skipped: there is no {options.data / 'orders'}")
        return
    options.output.parent.mkdir(parents=True, exist_ok=True)
    figures = measure(options.data, options.timer)
    options.output.write_text(json.dumps([{
        "name": "xquery/growth", "unit": "ms", "x_name": "documents",
        "lines": list(QUERIES.values()),
        "points": [list(point) for point in
                   zip(COUNTS, *(figures[query] for query in QUERIES))],
    }], indent=1))


if __name__ == "__main__":
    main()
