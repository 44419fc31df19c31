#!/usr/bin/env python3
"""Makes a page of what a run of the benchmarks measured.

usage: performance_page.py RUN_FOLDER PAGE

RUN_FOLDER has report.json and growth.json of one run, xquery.json where queries
were measured, and pictures that benchmarks drew. The page is Markdown; its pictures go into a folder of its name
beside it. Every figure comes from the run.
"""
import json
import pathlib
import shutil
import sys

import machine
import svg_plot

TITLES = {
    "util": "Text, digests, log", "time": "Dates", "fs": "Paths",
    "xml": "XML documents", "dm": "Data model", "mq": "Queues and processors",
    "store": "Record store", "xdb": "XML database", "xquery": "Queries",
    "remote": "Remote services",
}


def figure(number):
    return f"{number:,.0f}" if abs(number) >= 1000 else f"{number:.3g}"


def row(result):
    is_limit = result["peer_name"] == "limit"
    peer = "at most" if is_limit else result["peer_name"]
    ratio = f"{result['ratio']:.2f}" if result["ratio"] > 0 else "failed"
    met = "yes" if result["met"] else "**no**"
    asked = "" if is_limit else f"{result['target']:.2f}"
    return (f"| {result['name'].split('/', 1)[1].replace('_', ' ')} | "
            f"{figure(result['ours'])} | {peer} | {figure(result['peer'])} | "
            f"{result['unit']} | {ratio} | {asked} | {met} |")


def main():
    run, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
    results = json.loads((run / "report.json").read_text())
    queries = run / "xquery.json"
    if queries.exists():
        results += json.loads(queries.read_text())
    growths = [growth for growth in json.loads((run / "growth.json").read_text())
               if growth["points"]]
    pictures = target.with_suffix("")
    shutil.rmtree(pictures, ignore_errors=True)
    pictures.mkdir(parents=True)

    def picture(name, svg):
        (pictures / f"{name}.svg").write_text(svg, "utf-8")
        return f"![{name}]({pictures.name}/{name}.svg)"

    met = sum(result["met"] for result in results)
    lines = [
        "# Performance", "",
        f"What one run of `scripts/bench` measured: {machine.when_and_what()}. "
        "The script writes this page; it is not to be changed by hand.", "",
        "Ours and the peer take turns, and the medians are compared. A ratio "
        "above 1 is in our favour; \"asked\" is the ratio that the benchmark "
        "fails below. Where there is no peer but a limit, the ratio says how "
        "often the figure fits into it.", "",
        f"{met} of {len(results)} benchmarks give what is asked."]
    folders = list(dict.fromkeys(
        entry["name"].split("/")[0] for entry in results + growths))
    folders.sort(key=lambda name: list(TITLES).index(name)
                 if name in TITLES else len(TITLES))
    drawn = {path.stem: path for path in sorted(run.glob("*.svg"))}
    for folder in folders:
        lines += ["", f"## {TITLES.get(folder, folder)}", ""]
        own = [result for result in results
               if result["name"].startswith(folder + "/")]
        if own:
            lines += ["| | ours | peer | its figure | unit | ratio | asked | "
                      "met |", "|---|--:|---|--:|---|--:|--:|---|"]
            lines += [row(result) for result in own]
        measured = [result for result in own if result["ratio"] > 0]
        if measured:
            lines += ["", picture(f"{folder}-ratios", svg_plot.ratios(measured))]
        for growth in growths:
            if growth["name"].startswith(folder + "/"):
                name = growth["name"].replace("/", "-").replace("_", "-")
                lines += ["", picture(name, svg_plot.curves(growth))]
        for name in [stem for stem in drawn if stem.startswith(folder + "-")]:
            lines += ["", picture(name, drawn.pop(name).read_text("utf-8"))]
    target.write_text("\n".join(lines) + "\n", "utf-8")
    print(f"{target}: {len(results)} benchmarks, {len(growths)} curves")
    return 0


if __name__ == "__main__":
    sys.exit(main())
