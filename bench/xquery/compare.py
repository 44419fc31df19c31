#!/usr/bin/env python3
"""Sets our times of queries beside those of BaseX, in one run.

compare.py [--data FOLDER] [--timer PROGRAM] [--runs N] [--report FILE]

The 20 auction queries over one document of 11 MB, and a point look-up, a count,
an order by and a join over 20,000 small documents; and the same over less and
more, for curves. Both sides take the fewest milliseconds of N runs behind runs
that warm them, from the text of the query to the text of the answer. The answers
to the auction queries are compared, byte for byte, with those that are known, and
those over the orders with BaseX's, but for blanks. The curves go beside the
report. Exits 1 when a target is missed or an answer is wrong.
"""
import argparse
import collections
import gzip
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

import cut_auction

ROOT = pathlib.Path(__file__).resolve().parents[2]
COLLECTION = "declare variable $coll external;"
AUCTION_QUERIES = 20
# Of the auction document, and orders.
Stage = collections.namedtuple("Stage", "percent orders")
COMPARED = Stage(100, 20_000)
STAGES = (Stage(1, 200), Stage(10, 2_000), COMPARED, Stage(0, 200_000))
BY_PERCENT = "per cent of the document of 11 MB"
POINT_ID = 12_345
# Bytes of a query that is prepared; those that are wanting are blanks.
QUERY_BYTES = (1_000, 10_000)
# Beside the names of the queries.
SUM, MEMORY = "sum", "memory"
# Of the warming runs of BaseX, for its compiler: by what one of them takes.
WARM_MS, MOST_WARM_RUNS = 3000, 200


def run(command):
    done = subprocess.run([str(part) for part in command], check=False,
                          capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command[0]}: {done.stdout[-2000:]}{done.stderr[-2000:]}")
    return done.stdout


def write_queries(data, folder, stage):
    """The queries with the names that both databases know the documents by, and
    with an order that is there."""
    folder.mkdir()
    for file in sorted((data / "auction/q").glob("*.xq")) * (stage.percent > 0):
        text = file.read_text().replace('doc("auction.xml")',
                                        'doc("auction/auction.xml")')
        (folder / file.name).write_text(text)
    for file in sorted((data / "orders").glob("*.xq")):
        text = file.read_text().replace(
            COLLECTION, 'declare variable $coll := collection("orders");')
        if stage.orders <= POINT_ID:
            text = text.replace(f"o{POINT_ID}", f"o{stage.orders // 2}")
        (folder / file.name).write_text(text)
    return sorted(folder.glob("*.xq"))


class Ours:
    def __init__(self, timer, work):
        self.timer, self.home = timer, work / "home"

    def load(self, container, source):
        run([self.timer, self.home, "load", container, source])

    def times(self, queries, runs, output):
        """Milliseconds by query, of the plan alone too, and megabytes."""
        said = run([self.timer, self.home, "run", "--runs", runs, "--output",
                    output, *queries])
        rows = [line.split("\t") for line in said.splitlines()]
        figures = {row[0]: float(row[1]) for row in rows}
        megabytes = figures.pop("resident")
        plans = {row[0]: float(row[2]) for row in rows if len(row) > 2}
        return figures, plans, megabytes

    def prepare(self, query):
        return float(run([self.timer, self.home, "prepare", query]).split()[1])


class BaseX:
    def __init__(self, work):
        self.home = work / "basex"
        self.home.mkdir()

    def command(self, commands, tells_times=True):
        command = ["java", f"-Dorg.basex.path={self.home}",
                   f"-Dorg.basex.DBPATH={self.home / 'data'}", "-cp",
                   "/usr/share/java/basex.jar", "org.basex.BaseX",
                   *(["-V"] if tells_times else [])]
        for one in ["SET INTPARSE true", *commands]:
            command += ["-c", one]
        return command

    def load(self, container, source):
        run(self.command([f"CREATE DB {container} {source}"]))

    def times(self, queries, runs):
        """Milliseconds by query, and megabytes."""
        figures, most = {}, 0
        first = self.once([command for query in queries
                           for command in [f"RUN {query}"] * 2])[0]
        for i, query in enumerate(queries):
            warm = max(1, min(MOST_WARM_RUNS,
                              int(WARM_MS / max(first[2 * i + 1], 0.1))))
            times, megabytes = self.once([f"RUN {query}"] * (warm + runs))
            figures[query.name] = min(times[warm:])
            most = max(most, megabytes)
        return figures, most

    def answer(self, query):
        return run(self.command([f"RUN {query}"], tells_times=False))

    def once(self, commands):
        # On the disk: what it prints may be long.
        with tempfile.TemporaryFile(dir=self.home) as said:
            process = subprocess.Popen(self.command(commands), stdout=said,
                                       stderr=subprocess.STDOUT)
            _, status, usage = os.wait4(process.pid, 0)
            said.seek(0)
            text = said.read().decode(errors="replace")
        times = [float(one) for one in
                 re.findall(r"^Total Time: ([0-9.]+) ms", text, re.MULTILINE)]
        if status != 0 or len(times) != len(commands):
            sys.exit(f"BaseX: {text[-2000:]}")
        return times, usage.ru_maxrss / 1024


def wrong_answers(data, output):
    return [file.name[:3]
            for file in sorted((data / "auction/answers").iterdir())
            if gzip.open(file).read() !=
            (output / file.name[:3]).read_bytes()]


def require_same_answer(query, output, basex):
    """Of those over orders, whose answers are known to nobody else. Blanks are
    written as each side likes."""
    if (query.name.startswith("o") and
            "".join((output / query.stem).read_text().split()) !=
            "".join(basex.answer(query).split())):
        sys.exit(f"{query.name}: BaseX answers otherwise")


def result(name, unit, ours, peer, peer_name, target, size):
    """As a result of the other benchmarks: less is better here, so that the
    ratio is the peer's figure by ours, and `target` the least it is to be."""
    ratio = peer / ours
    return {"name": f"xquery/{name}", "unit": unit, "ours": ours, "peer": peer,
            "peer_name": peer_name, "ratio": ratio, "target": target,
            "met": ratio >= target, "curve": f"xquery/{name}", "size": size}


def curve(of, x_name, points):
    """Points of a size, ours and, where there is one, the peer's figure."""
    return {"name": of["name"], "unit": of["unit"], "x_name": x_name,
            "lines": ["ours", "BaseX"][:len(points[0]) - 1], "points": points,
            "ratios": [point[2] / point[1] if len(point) > 2 else 0
                       for point in points]}


def right_answers(wrong):
    right = AUCTION_QUERIES - len(wrong)
    return {"name": "xquery/right_answers", "unit": "answers", "ours": right,
            "peer": AUCTION_QUERIES, "peer_name": "all there are",
            "ratio": right / AUCTION_QUERIES, "target": 1, "met": not wrong,
            "constant": "an answer is right or not, and these are all"}


def results_of(measured, prepare_ns):
    """The results, and the curve of each."""
    ours, basex = measured[COMPARED]
    slowest = max((name for name in ours if name.startswith("q")),
                  key=lambda name: ours[name] / basex[name])
    point, count, order, join = sorted(n for n in ours if n.startswith("o"))
    results, curves = [], []

    def add(name, unit, key, target, limit=None):
        is_orders = key.startswith("o")
        results.append(result(
            name, unit, ours[key], limit or basex[key],
            "limit" if limit else "BaseX", target,
            COMPARED.orders if is_orders else COMPARED.percent))
        curves.append(curve(
            results[-1], "documents" if is_orders else BY_PERCENT,
            [[stage.orders if is_orders else stage.percent,
              our[key], their[key]]
             for stage, (our, their) in measured.items()
             if is_orders or stage.percent > 0]))

    add("auction_sum_of_20", "ms", SUM, 5)
    add(f"auction_worst_ratio,_{slowest[:3]}", "ms", slowest, 1 / 1.5)
    add("orders_point", "ms", point, 1, limit=0.2)
    add("orders_count", "ms", count, 1)
    add("orders_order_by", "ms", order, 1)
    add("orders_join", "ms", join, 2)
    add("most_memory", "MB", MEMORY, 4)
    size, nanoseconds = prepare_ns[0]
    results.append(result("prepare_of_a_cached_query", "ns", nanoseconds, 1000,
                          "limit", 1, size))
    curves.append(curve(results[-1], "bytes of the query", prepare_ns))
    return results, curves


def main():
    parser = argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawTextHelpFormatter)
    parser.add_argument("--data", type=pathlib.Path, default=pathlib.Path(
        os.environ.get("KIV_DATA", ROOT.parent / "shared/data")))
    parser.add_argument("--timer", type=pathlib.Path,
                        default=ROOT / "build/release/bin/query_timer")
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--report", type=pathlib.Path)
    options = parser.parse_args()
    if not (options.data / "auction").is_dir():
        print(f"skipped: there is no {options.data / 'auction'}")
        if options.report:
            options.report.write_text(json.dumps(
                [{"name": "xquery/all", "left_out": "no data"}]))
        return 0
    measured = {}
    for stage in STAGES:
        # Not in /tmp, which may be memory.
        with tempfile.TemporaryDirectory(dir=pathlib.Path.cwd(),
                                         prefix="kiv_xquery_") as folder:
            work = pathlib.Path(folder)
            measured[stage] = measure(options, work, stage)
            if stage == COMPARED:
                wrong = wrong_answers(options.data, work / "answers")
                prepare_ns = prepare(options, work)
    results, curves = results_of(measured, prepare_ns)
    results.append(right_answers(wrong))
    print(f"\n{'':34}{'ours':>10}{'peer':>10}{'ratio':>10}{'asked':>8}")
    for one in results:
        print(f"{one['name']:34}{one['ours']:10.3f}{one['peer']:10.1f}"
              f"{one['ratio']:10.2f}{one['target']:8.2f} {one['unit']}, "
              f"{one['peer_name']}{'' if one['met'] else '  MISSED'}")
    if wrong:
        print("wrong answers:", *wrong)
    if options.report:
        options.report.write_text(json.dumps(results, indent=1))
        options.report.with_name("xquery-growth.json").write_text(
            json.dumps(curves, indent=1))
    return 0 if all(one["met"] for one in results) else 1


def measure(options, work, stage):
    """Milliseconds by query of both sides, their sum, and megabytes."""
    queries = write_queries(options.data, work / "queries", stage)
    ours, basex = Ours(options.timer, work), BaseX(work)
    sources = {"orders": work / "orders"}
    run([sys.executable, options.data / "orders/gen_orders.py",
         sources["orders"], stage.orders])
    if stage.percent:
        sources["auction"] = work / "auction.xml"
        cut_auction.cut(options.data / "auction/auction.xml.gz",
                        sources["auction"], stage.percent)
    for container, source in sources.items():
        ours.load(container, source)
        basex.load(container, source)
    output = work / "answers"
    output.mkdir()
    our_ms, plans, our_mb = ours.times(queries, options.runs, output)
    for query in queries if stage == COMPARED else []:
        require_same_answer(query, output, basex)
    basex_ms, basex_mb = basex.times(queries, options.runs)
    print(f"{str(stage.percent) + ' %, ' + str(stage.orders):16}"
          f"{'ours, ms':>10}{'its plan':>10}{'BaseX, ms':>11}")
    for name, figure in our_ms.items():
        print(f"{name:16}{figure:10.3f}{plans[name]:10.3f}"
              f"{basex_ms[name]:11.2f}", flush=True)
    for side, megabytes in ((our_ms, our_mb), (basex_ms, basex_mb)):
        side[SUM] = sum(side[query.name] for query in queries
                        if query.name.startswith("q"))
        side[MEMORY] = megabytes
    return our_ms, basex_ms


def prepare(options, work):
    """Nanoseconds, by the bytes of the query."""
    query = sorted((work / "queries").iterdir())[0]
    text = query.read_text()
    points = []
    for size in (len(text), *QUERY_BYTES):
        query.write_text(text.ljust(size))
        points.append([size, Ours(options.timer, work).prepare(query)])
    return points


if __name__ == "__main__":
    sys.exit(main())
