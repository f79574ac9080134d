"""Whole programs side by side: orvandel render beside FFmpeg with sources of its own, into raw frames, PNG and H.264.

Every command runs ROUNDS times, in turns, so that a change of the machine's speed meets all alike; the fastest counts.
Frames a second and processor time a frame include the start of the program. Prints a table; --save FILE puts it between
the marks of that document as well.
"""

import argparse
import datetime
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

WIDTH, HEIGHT, RATE = 1920, 1080, 30
ROUNDS = 3
MARKS = "<!-- programs -->\n", "<!-- end of programs -->\n"

# Thirty rings 30 pixels apart, out to 900, from the first frame on.
RINGS = {
    "version": 1, "width": WIDTH, "height": HEIGHT, "frameRate": RATE, "duration": 10, "preroll": 10,
    "parameters": {
        "Producer Point": [WIDTH / 2, HEIGHT / 2], "Frequency": 3, "Expansion": 3, "Lifespan (sec)": 10, "Sides": 64,
        "Opacity": 0.8, "Color": "#38bdf8", "Fade-in Time": 0, "Fade-out Time": 0,
    },
}
WIDTHS = {"rings, 5 wide": (5, "Square"), "rings, Gaussian, 40 wide": (40, "Gaussian")}

SIZE = f"size={WIDTH}x{HEIGHT}"
# The cheapest way to say the same rings there: one grey plane.
GEQ = (f"nullsrc={SIZE}:rate={RATE},format=gray,"
       "geq=lum='255*exp(-pow(mod(hypot(X-W/2,Y-H/2)-3*N,30)-15,2)/50)'")
SOURCES = {
    "ffmpeg color (nothing drawn)": (f"color=black:{SIZE}:rate={RATE},format=rgba", 120),
    "ffmpeg geq, Gaussian rings": (GEQ, 4),
    "ffmpeg frei0r plasma": (f"frei0r_src={SIZE}:framerate={RATE}:filter_name=plasma:filter_params=0.1", 60),
    "ffmpeg frei0r test_pat_G": (f"frei0r_src={SIZE}:framerate={RATE}:filter_name=test_pat_G:filter_params=0", 60),
}
OUTPUTS = ["raw frames", "PNG", "H.264"]


def ours(program, scene, output, folder, fast):
    words = [program, "render", scene, "--quiet", "--overwrite"]
    if output == "raw frames":
        return words + ["-o", "-"]
    if output == "PNG":
        return words + ["-o", f"{folder}/f.####.png"] + (["--png-size", "fast"] if fast else [])
    return words + ["-o", f"{folder}/f.mp4", "--background", "#000000"]


def theirs(source, frames, output, folder):
    words = ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "lavfi", "-i", source, "-frames:v", str(frames)]
    if output == "raw frames":
        return words + ["-pix_fmt", "rgba", "-f", "rawvideo", "-"]
    if output == "PNG":
        return words + ["-pix_fmt", "rgba", f"{folder}/f.%04d.png"]
    # As Orvandel's .mp4.
    codec = ["-c:v", "libx264", "-preset", "medium", "-profile:v", "high", "-crf", "16", "-x264-params", "mbtree=0"]
    return words + ["-pix_fmt", "yuv420p"] + codec + [f"{folder}/f.mp4"]


def commands(program, folder, frames):
    """(row, column) and the command with its frames."""
    made = {}
    for name, (width, profile) in WIDTHS.items():
        scene = Path(folder) / f"{width}.json"
        values = RINGS["parameters"] | {"Start Width": width, "End Width": width, "Profile": profile}
        scene.write_text(json.dumps(RINGS | {"parameters": values}))
        some = ["--frames", f"0-{frames - 1}"]
        for output in OUTPUTS:
            made[f"orvandel {name}", output] = ours(program, str(scene), output, folder, False) + some, frames
        made[f"orvandel {name}, --png-size fast", "PNG"] = ours(program, str(scene), "PNG", folder, True) + some, frames
    for name, (source, most) in SOURCES.items():
        count = min(frames, most)
        for output in OUTPUTS:
            made[name, output] = theirs(source, count, output, folder), count
    return made


def run(words):
    """Wall and processor seconds."""
    start = time.perf_counter()
    with open(os.devnull, "wb") as nothing:
        process = subprocess.Popen(words, stdout=nothing, stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    wall = time.perf_counter() - start
    if process.returncode != 0:
        sys.exit(f"{process.returncode}: {' '.join(words)}")
    return wall, usage.ru_utime + usage.ru_stime


def measure(program, frames):
    folder = tempfile.mkdtemp()
    try:
        todo = commands(program, folder, frames)
        best = {key: (float("inf"), float("inf")) for key in todo}
        for _ in range(ROUNDS):
            for key, (words, count) in todo.items():
                wall, cpu = run(words)
                best[key] = min(best[key][0], wall / count), min(best[key][1], cpu / count)
        return best
    finally:
        shutil.rmtree(folder)


def table(best):
    lines = ["| source, 1920 x 1080 | " + " | ".join(f"{output}, frames/s | ms CPU" for output in OUTPUTS) + " |",
             "|---|" + "---:|---:|" * len(OUTPUTS)]
    for row in dict.fromkeys(row for row, _ in best):
        cells = []
        for output in OUTPUTS:
            wall, cpu = best.get((row, output), (None, None))
            cells += ["-", "-"] if wall is None else [f"{1 / wall:.3g}", f"{cpu * 1000:.3g}"]
        lines.append(f"| {row} | " + " | ".join(cells) + " |")
    return "\n".join(lines) + "\n"


def goals(best):
    def ratio(theirs_row, ours_row, kind):
        return best[theirs_row, "raw frames"][kind] / best[ours_row, "raw frames"][kind]
    lines = []
    for kind, name in enumerate(["wall time", "processor time"]):
        empty = ratio("ffmpeg color (nothing drawn)", "orvandel rings, 5 wide", kind)
        geq = ratio("ffmpeg geq, Gaussian rings", "orvandel rings, Gaussian, 40 wide", kind)
        lines.append(f"By {name}: the rings into raw frames at {empty:.2f} of the speed of an empty source (aim 0.9), "
                     f"the Gaussian ones {geq:.0f} times as fast as geq (aim 40).\n")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", help="build/release/bin/orvandel")
    parser.add_argument("--frames", type=int, default=90)
    parser.add_argument("--save", type=Path, metavar="FILE")
    arguments = parser.parse_args()
    load = os.getloadavg()[0]
    version = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True, check=True).stdout.split()[2]
    best = measure(arguments.program, arguments.frames)
    text = (f"{datetime.date.today()}, load {load:.1f} at the start, {os.cpu_count()} processors, FFmpeg {version}.\n\n"
            f"{table(best)}\n{goals(best)}")
    print(text)
    if arguments.save:
        page = arguments.save.read_text()
        inside = re.escape(MARKS[0]) + ".*?" + re.escape(MARKS[1])
        arguments.save.write_text(re.sub(inside, lambda _: MARKS[0] + text + MARKS[1], page, flags=re.S))


if __name__ == "__main__":
    main()
