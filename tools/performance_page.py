#!/usr/bin/env python3
"""Makes a page of what a run of the benchmarks measured.

usage: performance_page.py RUN_FOLDER PAGE

RUN_FOLDER has report.json and growth.json of one run, xquery.json and
xquery-growth.json where queries were measured. The page is Markdown; its pictures
go into a folder of its name beside it. Every figure comes from the run. Pictures of
what could not be measured stay, since other pages show them. A benchmark has to
say what its curve is, or why it has none.
"""
import json
import pathlib
import re
import sys

import machine
import svg_plot

TITLES = {
    "util": "Text, digests, log", "time": "Dates", "fs": "Paths",
    "xml": "XML documents", "dm": "Data model", "mq": "Queues and processors",
    "store": "Record store", "xdb": "XML database", "xquery": "Queries",
    "remote": "Remote services",
}

# How it was measured, where that is not as the page says.
METHODS = {
    "mq": "Both processes of \"isolated\" run on one core, on either side. Of the "
          "durable queues a round is a message.",
    "xdb": "The put growth is the cost of a put among the last of a million "
           "documents, by that among 10,000 to 100,000. Of the loads nothing is "
           "warmed: BaseX starts anew for each, and is timed by its own clock, "
           "without its start.",
    "xquery": "One side after the other: the fewest milliseconds of several runs, "
              "behind runs that warm them. BaseX opens its database for each query. "
              "The worst ratio is that of the query "
              "that does worst beside the peer's, and so is its curve. The most "
              "memory is that of all queries, over as many per cent of the orders "
              "too.",
    "remote": "Both sides call over one communicator.",
}
# Beyond so many points a table of them helps nobody.
MOST_ROWS = 10


def figure(number):
    return f"{number:,.0f}" if abs(number) >= 1000 else f"{number:.3g}"


def title(name):
    return name.split("/", 1)[1].replace("_", " ")


def growth_of(result, curves):
    """What the benchmark's curve is over, or why there is none."""
    if result.get("constant"):
        return "nothing: " + result["constant"]
    if not result.get("curve"):
        sys.exit(f"{result['name']} names no curve, nor why it has none")
    curve = curves.get(result["curve"])
    if curve is None:
        return "not measured"
    here = f", here {result['size']:,}" if result["size"] else ""
    see = ("" if result["curve"] == result["name"]
           else f"; see {title(result['curve'])}")
    return curve["x_name"] + here + see


def row(result, curves):
    if "left_out" in result:
        return (f"| {title(result['name'])} | | | | | | | not measured: "
                f"{result['left_out']} | |")
    is_limit = result["peer_name"] == "limit"
    peer = "at most" if is_limit else result["peer_name"]
    # Nothing fits into a limit without end.
    ratio = (f"{result['ratio']:.2f}" if result["ratio"] > 0
             else "" if result["met"] else "failed")
    met = "yes" if result["met"] else "**no**"
    asked = "" if is_limit else f"{result['target']:.2f}"
    return (f"| {title(result['name'])} | "
            f"{figure(result['ours'])} | {peer} | {figure(result['peer'])} | "
            f"{result['unit']} | {ratio} | {asked} | {met} | "
            f"{growth_of(result, curves)} |")


def points(growth, asked):
    """The rows of a table, where it is a short one; bold where a ratio is less
    than is asked of the benchmark at the size of its row."""
    if len(growth["points"]) > MOST_ROWS:
        return []
    rows = [[growth["x_name"]] + [f"{name}, {growth['unit']}"
                                  for name in growth["lines"]]]
    rows += [[f"{point[0]:,.0f}"] + [figure(value) for value in point[1:]]
             for point in growth["points"]]
    if any(growth["ratios"]):
        rows[0].append("ratio")
        for cells, ratio in zip(rows[1:], growth["ratios"]):
            cells.append(f"{ratio:.2f}" if ratio >= asked else f"**{ratio:.2f}**")
    rows.insert(1, ["--:"] * len(rows[0]))
    return [""] + ["| " + " | ".join(cells) + " |" for cells in rows]


def main():
    run, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    results = json.loads((run / "report.json").read_text())
    queries = run / "xquery.json"
    if queries.exists():
        results += json.loads(queries.read_text())
    growths = [growth for file in ("growth.json", "xquery-growth.json")
               if (run / file).exists()
               for growth in json.loads((run / file).read_text())
               if growth["points"]]
    curves = {growth["name"]: growth for growth in growths}
    left_out = {result["name"].split("/")[0] for result in results
                if "left_out" in result}
    counted = [result for result in results if "left_out" not in result]
    pictures = target.with_suffix("")
    pictures.mkdir(parents=True, exist_ok=True)
    for old in pictures.glob("*.svg"):
        if old.stem.split("-")[0] not in left_out:
            old.unlink()

    def picture(name, svg):
        (pictures / f"{name}.svg").write_text(svg, "utf-8")
        return f"![{name}]({pictures.name}/{name}.svg)"

    met = sum(result["met"] for result in counted)
    lines = [
        "# Performance", "",
        f"What one run of `scripts/bench` measured: {machine.when_and_what()}. "
        "The script writes this page; it is not to be changed by hand.", "",
        "A ratio above 1 is in our favour; \"asked\" is the ratio that the "
        "benchmark fails below. Where there is no peer but a limit, the ratio "
        "says how often the figure fits into it.", "",
        "Ours and the peer take turns, a short round each, and each is the first "
        "of every other round; a run before warms both. A figure is the median "
        "of its rounds. A ratio is the median of the ratios of two rounds side by "
        "side, not that of two medians: what slows the machine for a while slows "
        "both of them. The figure of a limit is measured once.", "",
        "Every benchmark is measured again as what it works on gets smaller or "
        "larger, each size in a process of its own: the last column says what "
        "that is, with the size that the row is of, and a curve follows; or it "
        "says why there is nothing that grows.", "",
        f"{met} of {len(counted)} benchmarks give what is asked, at "
        "the size of their row. A ratio in bold, at another size, is below it."]
    if len(counted) < len(results):
        lines[-1] += f" {len(results) - len(counted)} could not be measured."
    folders = list(dict.fromkeys(
        entry["name"].split("/")[0] for entry in results + growths))
    folders.sort(key=lambda name: list(TITLES).index(name)
                 if name in TITLES else len(TITLES))
    for folder in folders:
        lines += ["", f"## {TITLES.get(folder, folder)}", ""]
        if folder in METHODS:
            lines += [METHODS[folder], ""]
        own = [result for result in results
               if result["name"].startswith(folder + "/")]
        if own:
            lines += ["| | ours | peer | its figure | unit | ratio | asked | "
                      "met | grows with |",
                      "|---|--:|---|--:|---|--:|--:|---|---|"]
            lines += [row(result, curves) for result in own]
        measured = [result for result in own if result.get("ratio", 0) > 0]
        if measured:
            lines += ["", picture(f"{folder}-ratios", svg_plot.ratios(measured))]
        for growth in growths:
            if growth["name"].startswith(folder + "/"):
                name = re.sub("[/_,]+", "-", growth["name"])
                lines += ["", picture(name, svg_plot.curves(growth))]
                lines += points(growth, next(
                    (result["target"] for result in own
                     if result["name"] == growth["name"]), 0))
    target.write_text("\n".join(lines) + "\n", "utf-8")
    print(f"{target}: {len(counted)} benchmarks, {len(growths)} curves")
    return 0


if __name__ == "__main__":
    sys.exit(main())
