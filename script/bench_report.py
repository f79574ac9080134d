"""What the benchmarks' raw numbers mean: medians, fastest runs, ratios and goals, as text, or saved with the machine and
the commit.

    bench_report.py RAW.json... [--save DOCS]

Saving replaces the tables of DOCS/benchmarks.md, between its two marks, and writes DOCS/benchmarks.json.
"""

import argparse
import json
import re
import statistics
from pathlib import Path

SCENES = ["rings_w5", "rings_w40_gaussian", "stars_w8", "contours_w10", "rings_4k"]
GOALS_TO_CAIRO = [0.09, 0.04, 0.11, 0.055, 0.06]
QUALITIES = range(1, 17)
FASTEST = "fastest/"
CODES = ["plain/", "portable/", "avx2/", "", "every_row/"]

# What is measured, its name, the name that it is compared with, the largest ratio wanted.
PAIRS = [
    ("Render quality 16 against 4, `rings_w5`", "rings_w5/quality_16", "rings_w5", 6),
    ("Render quality 16 against 4, `rings_w40_gaussian`", "rings_w40_gaussian/quality_16", "rings_w40_gaussian", 6),
    ("Pre-Blur 50 of a 4K picture, against plain code", "blur_50/4k", "blur_50/4k/plain", 0.25),
    ("The same without newer instructions, against plain code", "blur_50/4k/portable", "blur_50/4k/plain", 0.25),
    ("Contour shapes of 50 waves on one new 4K picture, against 1", "contour_shapes/4k/changing/50",
     "contour_shapes/4k/changing/1", None),
    ("Contour shapes of 50 waves on a still 4K picture, against one trace", "contour_shapes/4k/still/50",
     "trace/disc/4k", 1),
    ("The same with the change stamp", "contour_shapes/4k/promised/50", "trace/disc/4k", 1),
    ("Five-pointed stars at depth -1 against -0.5", "star/depth_-1", "star/depth_-0.5", 1),
    ("The same with the progress interval", "star/depth_-1/interval", "star/depth_-0.5/interval", 1),
    ("Rings at 29.97 frames a second against 30", "rings/fps_29.97", "rings/fps_30", 1.3),
    ("10 contour waves at 29.97 against 30", "contour_frames/fps_29.97/10", "contour_frames/fps_30/10", 1.3),
    ("Ten minutes, last frame against first, change stamp", "ten_minutes/stamp/last", "ten_minutes/stamp/first", 1.2),
    ("Ten minutes, last frame against first, no stamp", "ten_minutes/last", "ten_minutes/first", None),
    ("Two threads with modules of their own against one, `ripple`", "crew/ripple/threads_2", "crew/ripple/threads_1",
     1 / 1.9),
    ("The same, `star_burst`", "crew/star_burst/threads_2", "crew/star_burst/threads_1", 1 / 1.9),
    ("An editor's frames at ten minutes, backward against forward", "player/ripple/backward", "player/ripple/forward", 1.5),
    ("An editor's eight clips on two threads against one", "player/ripple/threads_2", "player/ripple/threads_1", 1 / 1.9),
    ("Whole program, wall time of 2 jobs against 1, `ripple`", "program/ripple/jobs_2", "program/ripple/jobs_1",
     None),
    ("Whole program, processor time of 2 jobs against 1, `ripple`", "program/ripple/jobs_2/cpu",
     "program/ripple/jobs_1/cpu", None),
    ("Whole program, wall time of 2 jobs against 1, `star_burst`", "program/star_burst/jobs_2",
     "program/star_burst/jobs_1", None),
    ("Whole program, processor time of 2 jobs against 1, `star_burst`", "program/star_burst/jobs_2/cpu",
     "program/star_burst/jobs_1/cpu", None),
]

SINGLES = [
    ("Trace of a disc", ["trace/disc/1080p", "trace/disc/4k"]),
    ("Trace of noise", ["trace/noise/1080p", "trace/noise/4k"]),
    ("Trace of a disc after Pre-Blur 50", ["trace/disc_blur_50/1080p", "trace/disc_blur_50/4k"]),
    ("Pre-Blur 5, blur alone", ["blur_5/1080p", "blur_5/4k"]),
    ("Pre-Blur 15, blur alone", ["blur_15/1080p", "blur_15/4k"]),
    ("Pre-Blur 50, blur alone", ["blur_50/1080p", "blur_50/4k"]),
    ("Pre-Blur 50, plain code", ["blur_50/1080p/plain", "blur_50/4k/plain"]),
    ("Shapes of 1 contour wave, new picture", ["contour_shapes/1080p/changing/1", "contour_shapes/4k/changing/1"]),
    ("Shapes of 50 contour waves, new picture", ["contour_shapes/1080p/changing/50", "contour_shapes/4k/changing/50"]),
    ("Shapes of 50 contour waves, still picture", ["contour_shapes/1080p/still/50", "contour_shapes/4k/still/50"]),
    ("The same with the change stamp", ["contour_shapes/1080p/promised/50", "contour_shapes/4k/promised/50"]),
]

TICKS = [
    ("Jump to tick 10,000 / 100,000, still values", ["jump/still/10000", "jump/still/100000"]),
    ("Jump to tick 10,000 / 100,000, a value that moves", ["jump/moving/10000", "jump/moving/100000"]),
    ("Cache check at minute 1 / 60, still values", ["cache_check/still/minute_1", "cache_check/still/minute_60"]),
    ("The same with the change stamp",
     ["cache_check/still/minute_1/stamp", "cache_check/still/minute_60/stamp"]),
    ("Cache check at minute 1 / 60, a value that moves",
     ["cache_check/moving/minute_1", "cache_check/moving/minute_60"]),
    ("The same with the change stamp ",
     ["cache_check/moving/minute_1/stamp", "cache_check/moving/minute_60/stamp"]),
]


def plain_name(name):
    """Without what the library appends about repetitions and clocks."""
    return re.sub(r"/(iterations|repeats):\d+|/real_time", "", name)


def read_results(files):
    """Median milliseconds by name, and under "fastest/" the least: processor time, but wall time where processes run side
    by side."""
    times, context, errors = {}, None, []
    for file in files:
        raw = json.loads(Path(file).read_text())
        context = context or raw["context"]
        for run in raw["benchmarks"]:
            if run.get("run_type") != "iteration":
                continue
            name = plain_name(run["run_name"])
            if run.get("error_occurred"):
                errors.append(f"{name}: {run['error_message']}")
                continue
            clock = "real_time" if name.startswith(("program/", "crew/", "player/")) else "cpu_time"
            scale = {"ns": 1e-6, "us": 1e-3, "ms": 1, "s": 1e3}[run["time_unit"]]
            times.setdefault(name, []).append(run[clock] * scale)
            if "cpu_s" in run:  # of the processes that the benchmark started
                times.setdefault(name + "/cpu", []).append(run["cpu_s"] * 1e3)
    results = {name: statistics.median(values) for name, values in times.items()}
    results.update({FASTEST + name: min(values) for name, values in times.items()})
    return results, context, errors


def processor():
    for line in Path("/proc/cpuinfo").read_text().splitlines():
        if line.startswith("model name"):
            return line.split(":", 1)[1].strip()
    return "unknown"


def machine_of(context):
    load = ", ".join(f"{value:.1f}" for value in context.get("load_avg", []))
    return {
        "processor": processor(),
        "cpus": context["num_cpus"],
        "caches": [f"L{c['level']} {c['type']} {c['size'] // 1024} KiB" for c in context.get("caches", [])],
        "load_at_start": load,
        "date": context["date"],
        "commit": context.get("commit", "unknown"),
        "code": context.get("code", "unknown"),
    }


def number(value):
    if value is None:
        return "-"
    return f"{value:.0f}" if value >= 100 else f"{value:.3g}"


def quotient(results, name, base):
    if name not in results or base not in results:
        return None
    return results[name] / results[base]


def verdict(ratio, goal):
    if goal is None or ratio is None:
        return ""
    return f"{number(goal)} {'met' if ratio <= goal else 'missed'}"


def scene_rows(results):
    for scene, goal in zip(SCENES, GOALS_TO_CAIRO):
        ratio = quotient(results, scene, "cairo_stroke/" + scene)
        fastest = quotient(results, FASTEST + scene, FASTEST + "cairo_stroke/" + scene)
        yield [f"`{scene}`", number(results.get(scene)), number(results.get(FASTEST + scene)), number(ratio),
               number(fastest), verdict(fastest, goal),
               number(quotient(results, scene, "cairo_fill/" + scene)), number(quotient(results, scene, "agg/" + scene)),
               number(results.get("cairo_stroke/" + scene)), number(results.get("cairo_fill/" + scene)),
               number(results.get("agg/" + scene))]


def code_rows(results):
    for scene in SCENES:
        yield [f"`{scene}`"] + [number(results.get(code + scene)) for code in CODES]


def quality_rows(results):
    for scene in SCENES:
        names = [scene if quality == 4 else f"{scene}/quality_{quality}" for quality in QUALITIES]
        yield [f"`{scene}`"] + [number(results.get(FASTEST + name)) for name in names]


def pair_rows(results):
    for text, name, base, goal in PAIRS:
        ratio = quotient(results, name, base)
        if ratio is not None:
            yield [text, number(results[name]), number(results[base]), number(ratio), verdict(ratio, goal)]


def single_rows(results, table):
    for text, names in table:
        if all(name in results for name in names):
            yield [text.strip()] + [number(results[name]) for name in names]


def tables_of(results):
    """(heading, columns, rows) of each table that has rows."""
    tables = [
        ("The five scenes", ["scene", "ms", "fastest", "to Cairo stroke", "fastest to fastest", "goal", "to Cairo fill", "to AGG",
                             "Cairo stroke ms", "Cairo fill ms", "AGG ms"], list(scene_rows(results))),
        ("By instruction set, ms", ["scene", "plain", "portable", "AVX2", "best", "best, every row reported"], list(code_rows(results))),
    ]
    if "rings_w5/quality_16" in results:
        tables.append(("By render quality, ms, fastest", ["scene"] + [str(quality) for quality in QUALITIES],
                       list(quality_rows(results))))
    tables += [
        ("Pairs", ["what", "ms", "against ms", "ratio", "goal"], list(pair_rows(results))),
        ("Contours, ms", ["what", "1080p", "4K"], list(single_rows(results, SINGLES))),
        ("Simulation, ms", ["what", "first", "second"], list(single_rows(results, TICKS))),
    ]
    return [table for table in tables if table[2]]


def as_text(columns, rows):
    cells = [columns] + [[cell.replace("`", "") for cell in row] for row in rows]
    widths = [max(len(row[i]) for row in cells) for i in range(len(columns))]
    lines = []
    for row in cells:
        lines.append("  ".join(c.ljust(w) if i == 0 else c.rjust(w) for i, (c, w) in enumerate(zip(row, widths))))
    return "\n".join(lines)


def as_markdown(columns, rows):
    head = "| " + " | ".join(columns) + " |\n|---|" + "---:|" * (len(columns) - 1)
    return head + "".join("\n| " + " | ".join(row) + " |" for row in rows)


def save(folder, results, machine):
    data = {"machine": machine, "unit": "ms", "results": {name: round(results[name], 5) for name in sorted(results)}}
    (folder / "benchmarks.json").write_text(json.dumps(data, indent=1) + "\n")
    text = (f"Commit {machine['commit']}, {machine['date'][:10]}, {machine['cpus']} x {machine['processor']}, "
            f"load {machine['load_at_start']} at the start; drawn with {machine['code']}.\n")
    for heading, columns, rows in tables_of(results):
        text += f"\n### {heading}\n{as_markdown(columns, rows)}\n"
    page = folder / "benchmarks.md"
    start, end = "<!-- tables: written by script/bench --save -->\n", "<!-- end of tables -->\n"
    before, rest = page.read_text().split(start)
    page.write_text(before + start + text + end + rest.split(end)[1])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="+")
    parser.add_argument("--save", type=Path, metavar="DOCS")
    arguments = parser.parse_args()
    results, context, errors = read_results(arguments.files)
    machine = machine_of(context)
    print(f"{machine['cpus']} x {machine['processor']}, load {machine['load_at_start']}, commit {machine['commit']}, "
          f"drawn with {machine['code']}")
    for heading, columns, rows in tables_of(results):
        print(f"\n{heading}\n{as_text(columns, rows)}")
    for error in sorted(set(errors)):
        print(f"\nNot measured: {error}")
    if arguments.save:
        save(arguments.save, results, machine)


if __name__ == "__main__":
    main()
