#!/usr/bin/env python3
"""Sets our times of queries beside those of BaseX, in one run.

compare.py [--data FOLDER] [--timer PROGRAM] [--runs N] [--report FILE]

The 20 auction queries over one document of 11 MB, and a point look-up, a count,
an order by and a join over 20,000 small documents. Both sides take the fewest
milliseconds of N runs behind runs that warm them, from the text of the query to
the text of the answer. The answers to the auction queries are compared, byte for
byte, with those that are known. Exits 1 when a target is missed or one is wrong.
"""
import argparse
import gzip
import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[2]
COLLECTION = "declare variable $coll external;"
AUCTION_QUERIES = 20
# Of the warming runs of BaseX, for its compiler: by what one of them takes.
WARM_MS, MOST_WARM_RUNS = 3000, 200


def run(command):
    done = subprocess.run([str(part) for part in command], check=False,
                          capture_output=True, text=True)
    if done.returncode != 0:
        sys.exit(f"{command[0]}: {done.stdout[-2000:]}{done.stderr[-2000:]}")
    return done.stdout


def write_queries(data, folder):
    """The queries with the names that both databases know the documents by."""
    folder.mkdir()
    for file in sorted((data / "auction/q").glob("*.xq")):
        text = file.read_text().replace('doc("auction.xml")',
                                        'doc("auction/auction.xml")')
        (folder / file.name).write_text(text)
    for file in sorted((data / "orders").glob("*.xq")):
        text = file.read_text().replace(
            COLLECTION, 'declare variable $coll := collection("orders");')
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

    def command(self, commands):
        command = ["java", f"-Dorg.basex.path={self.home}",
                   f"-Dorg.basex.DBPATH={self.home / 'data'}", "-cp",
                   "/usr/share/java/basex.jar", "org.basex.BaseX", "-V"]
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
    return [file.name[:3] for file in sorted((data / "auction/answers").iterdir())
            if gzip.open(file).read() !=
            (output / file.name[:3]).read_bytes()]


def result(name, unit, ours, peer, peer_name, target):
    """As a result of the other benchmarks: less is better here, so that the
    ratio is the peer's figure by ours, and `target` the least it is to be."""
    ratio = peer / ours
    return {"name": f"xquery/{name}", "unit": unit, "ours": ours, "peer": peer,
            "peer_name": peer_name, "ratio": ratio, "target": target,
            "met": ratio >= target}


def right_answers(wrong):
    right = AUCTION_QUERIES - len(wrong)
    return {"name": "xquery/right_answers", "unit": "answers", "ours": right,
            "peer": AUCTION_QUERIES, "peer_name": "all there are",
            "ratio": right / AUCTION_QUERIES, "target": 1, "met": not wrong}


def results_of(ours, basex, prepare_ns, our_mb, basex_mb):
    auction = [name for name in ours if name.startswith("q")]
    sums = [sum(side[name] for name in auction) for side in (ours, basex)]
    slowest = max(auction, key=lambda name: ours[name] / basex[name])
    point, count, order, join = sorted(n for n in ours if n.startswith("o"))

    def beside(name, query, target):
        return result(name, "ms", ours[query], basex[query], "BaseX", target)
    return [
        result("auction_sum_of_20", "ms", *sums, "BaseX", 5),
        beside(f"auction_worst_ratio,_{slowest[:3]}", slowest, 1 / 1.5),
        result("orders_point", "ms", ours[point], 0.2, "limit", 1),
        beside("orders_count", count, 1),
        beside("orders_order_by", order, 1),
        beside("orders_join", join, 2),
        result("prepare_of_a_cached_query", "ns", prepare_ns, 1000, "limit", 1),
        result("most_memory", "MB", our_mb, basex_mb, "BaseX", 4),
    ]


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
    # Not in /tmp, which may be memory.
    with tempfile.TemporaryDirectory(dir=pathlib.Path.cwd(),
                                     prefix="kiv_xquery_") as folder:
        return measure(options, pathlib.Path(folder))


def measure(options, work):
    queries = write_queries(options.data, work / "queries")
    document = work / "auction.xml"
    document.write_bytes(
        gzip.open(options.data / "auction/auction.xml.gz").read())
    run([sys.executable, options.data / "orders/gen_orders.py", work / "orders"])
    ours, basex = Ours(options.timer, work), BaseX(work)
    for side in (ours, basex):
        side.load("auction", document)
        side.load("orders", work / "orders")
    output = work / "answers"
    output.mkdir()
    our_ms, plans, our_mb = ours.times(queries, options.runs, output)
    basex_ms, basex_mb = basex.times(queries, options.runs)
    prepare_ns = ours.prepare(queries[0])

    print(f"{'query':16}{'ours, ms':>10}{'its plan':>10}{'BaseX, ms':>11}")
    for name, figure in our_ms.items():
        print(f"{name:16}{figure:10.3f}{plans[name]:10.3f}"
              f"{basex_ms[name]:11.2f}")
    wrong = wrong_answers(options.data, output)
    results = results_of(our_ms, basex_ms, prepare_ns, our_mb, basex_mb)
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
    return 0 if all(one["met"] for one in results) else 1


if __name__ == "__main__":
    sys.exit(main())
