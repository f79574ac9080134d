"""Draws docs/benchmarks.json: each scene's times against Cairo's stroke, on a logarithmic axis.

    bench_chart.py BENCHMARKS.json CHART.svg
"""

import json
import math
import sys
from pathlib import Path

SCENES = ["rings_w5", "rings_w40_gaussian", "stars_w8", "contours_w10", "rings_4k"]
BARS = [  # prefix of the name, label, colour
    ("plain/", "plain code", "#b8b8b8"),
    ("portable/", "128-bit vectors", "#9ecae1"),
    ("avx2/", "AVX2", "#4292c6"),
    ("", "best", "#08519c"),
    ("agg/", "AGG", "#e6a23c"),
]
BASE = "cairo_stroke/"

WIDTH, LEFT, RIGHT, TOP = 860, 170, 90, 96
BAR, GAP, GROUP_GAP = 15, 3, 20
LOW, HIGH = 0.02, 10.0  # ratios at the ends of the axis
INK, GREY, GRID = "#222222", "#666666", "#dddddd"


def x_of(ratio):
    place = (math.log10(ratio) - math.log10(LOW)) / (math.log10(HIGH) - math.log10(LOW))
    return LEFT + (WIDTH - LEFT - RIGHT) * min(max(place, 0), 1)


def text(x, y, words, size=13, anchor="start", colour=INK, weight="normal"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" fill="{colour}" '
            f'font-weight="{weight}">{words}</text>')


def axis(bottom):
    parts = []
    for ratio in (0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10):
        x, cairo = x_of(ratio), ratio == 1
        parts.append(f'<line x1="{x:.1f}" y1="{TOP - 8}" x2="{x:.1f}" y2="{bottom}" stroke="{INK if cairo else GRID}" '
                     f'stroke-width="{1.5 if cairo else 1}"/>')
        parts.append(text(x, TOP - 14, "Cairo = 1" if cairo else f"{ratio:g}", 12, "middle", INK if cairo else GREY))
    return parts


def bar(y, ratio, milliseconds, colour):
    a, b = sorted((x_of(ratio), x_of(1)))
    label = f"{ratio:.2g} ({milliseconds:.3g} ms)"
    # Beside the bar's free end, on a ground of its own where it crosses the grid.
    outside = a - 5 if ratio < 1 else b + 5
    anchor = "end" if ratio < 1 else "start"
    ground = outside - 7 * len(label) * 0.9 if ratio < 1 else outside
    return [
        f'<rect x="{a:.1f}" y="{y}" width="{max(b - a, 1):.1f}" height="{BAR}" fill="{colour}"/>',
        f'<rect x="{ground:.1f}" y="{y}" width="{6.3 * len(label):.1f}" height="{BAR}" fill="#ffffff" opacity="0.85"/>',
        text(outside, y + BAR - 3.5, label, 11, anchor),
    ]


def legend():
    parts, x = [], LEFT
    for _, label, colour in BARS:
        parts.append(f'<rect x="{x}" y="44" width="13" height="13" fill="{colour}"/>')
        parts.append(text(x + 18, 55, label, 12))
        x += 34 + 7 * len(label)
    return parts


def draw(data):
    results, parts, y = data["results"], [], TOP
    for scene in SCENES:
        base = results.get(BASE + scene)
        bars = [(label, colour, results[prefix + scene]) for prefix, label, colour in BARS if prefix + scene in results]
        if not base or not bars:
            continue
        height = len(bars) * (BAR + GAP) - GAP
        parts.append(text(LEFT - 150, y + height / 2 - 2, scene, 13, weight="bold"))
        parts.append(text(LEFT - 150, y + height / 2 + 14, f"Cairo {base:.3g} ms", 11, colour=GREY))
        for _, colour, milliseconds in bars:
            parts += bar(y, milliseconds / base, milliseconds, colour)
            y += BAR + GAP
        y += GROUP_GAP
    bottom = y - GROUP_GAP + 8
    machine = data["machine"]
    frame = [
        f'<svg xmlns="http://www.w3.org/2000/svg" width="{WIDTH}" height="{bottom + 34}" '
        f'viewBox="0 0 {WIDTH} {bottom + 34}" font-family="Helvetica, Arial, sans-serif">',
        f'<rect width="{WIDTH}" height="{bottom + 34}" fill="#ffffff"/>',
        text(LEFT - 150, 26, "Time of a frame against Cairo's stroke (further left is faster)", 16, weight="bold"),
    ]
    foot = text(LEFT - 150, bottom + 22, f"{machine['processor']}, one thread, render quality 4, commit "
                f"{machine['commit']}, {machine['date'][:10]}", 11, colour=GREY)
    return "\n".join(frame + legend() + axis(bottom) + parts + [foot, "</svg>"]) + "\n"


def main():
    source, target = sys.argv[1:]
    Path(target).write_text(draw(json.loads(Path(source).read_text())))


if __name__ == "__main__":
    main()
