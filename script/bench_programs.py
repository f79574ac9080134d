"""Whole programs side by side: orvandel render beside FFmpeg with sources of its own, into raw frames, PNG and H.264; and
into every kind of film, beside FFmpeg with the same frames from a file and the same settings.

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
RING = "exp(-pow(mod(hypot(X-W/2,Y-H/2)-3*N,30)-15,2)/50)"
GEQ = f"nullsrc={SIZE}:rate={RATE},format=rgba,geq=r='56':g='189':b='248':a='204*{RING}'"
# The cheapest way to say the same rings there: one grey plane.
GREY = f"nullsrc={SIZE}:rate={RATE},format=gray,geq=lum='255*{RING}'"
SOURCES = {
    "ffmpeg color (nothing drawn)": (f"color=black:{SIZE}:rate={RATE},format=rgba", 120),
    "ffmpeg geq, Gaussian rings": (GEQ, 6),
    "ffmpeg geq, one grey plane of them": (GREY, 6),
    "ffmpeg frei0r plasma": (f"frei0r_src={SIZE}:framerate={RATE}:filter_name=plasma:filter_params=0.1", 30),
    "ffmpeg frei0r test_pat_G": (f"frei0r_src={SIZE}:framerate={RATE}:filter_name=test_pat_G:filter_params=0", 30),
}
OUTPUTS = ["raw frames", "PNG", "H.264"]

X264 = "-c:v libx264 -preset medium -profile:v high -crf 16 -x264-params mbtree=0 -pix_fmt yuv420p"
# Each kind of film: extension, frames, FFmpeg's options for what Orvandel writes.
FILMS = {
    "h264": (".mp4", 30, X264 + " -movflags +faststart"),
    "prores4444": (".mov", 16, "-c:v prores_ks -profile:v 4444 -alpha_bits 8 -bits_per_mb 0 -pix_fmt yuva444p10le"),
    "qtrle": (".mov", 30, "-c:v qtrle -pix_fmt argb"),
    "vp9": (".webm", 6, "-c:v libvpx-vp9 -b:v 0 -cpu-used 4 -row-mt 1 -crf 20 -pix_fmt yuva420p"),
    "ffv1": (".mkv", 24, "-c:v ffv1 -level 3 -slicecrc 1 -pix_fmt bgra"),
    "apng": (".apng", 16, "-c:v apng -compression_level 3 -plays 0 -pix_fmt rgba"),
    "webp": (".webp", 6, "-c:v libwebp_anim -lossless 1 -loop 0 -pix_fmt bgra"),
}


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
    return words + X264.split() + [f"{folder}/f.mp4"]


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


def film_commands(program, folder):
    """As commands: for each kind of film ours, and FFmpeg's from a file of the same frames."""
    made = {}
    scene = Path(folder) / "film.json"
    scene.write_text(json.dumps(RINGS | {"parameters": RINGS["parameters"] | {"Start Width": 5, "End Width": 5}}))
    start = [program, "render", str(scene), "--quiet", "--overwrite"]
    behind = {True: ["--background", "#000000"], False: []}  # H.264 has no alpha
    most = max(frames for _, frames, _ in FILMS.values())
    for opaque, more in behind.items():
        run(start + more + ["-o", "-", "--frames", f"0-{most - 1}"], f"{folder}/{opaque}.rgba")
    reading = ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "rawvideo", "-pix_fmt", "rgba",
               "-s", f"{WIDTH}x{HEIGHT}", "-r", str(RATE), "-i"]
    for name, (extension, frames, options) in FILMS.items():
        opaque = name == "h264"
        film = ["-o", f"{folder}/ours{extension}", "--codec", name, "--frames", f"0-{frames - 1}"]
        made[name, "ours"] = start + behind[opaque] + film, frames
        made[name, "FFmpeg"] = (reading + [f"{folder}/{opaque}.rgba", "-frames:v", str(frames)] + options.split() +
                                [f"{folder}/theirs{extension}"]), frames
    return made


def run(words, output=os.devnull):
    """Wall and processor seconds."""
    start = time.perf_counter()
    with open(output, "wb") as out:
        process = subprocess.Popen(words, stdout=out, stdin=subprocess.DEVNULL)
        _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    wall = time.perf_counter() - start
    if process.returncode != 0:
        sys.exit(f"{process.returncode}: {' '.join(words)}")
    return wall, usage.ru_utime + usage.ru_stime


def measure(make, *arguments):
    folder = tempfile.mkdtemp()
    try:
        todo = make(arguments[0], folder, *arguments[1:])
        best = {key: (float("inf"), float("inf")) for key in todo}
        for _ in range(ROUNDS):
            for key, (words, count) in todo.items():
                wall, cpu = run(words)
                best[key] = min(best[key][0], wall / count), min(best[key][1], cpu / count)
        return best
    finally:
        shutil.rmtree(folder)


def film_table(best):
    lines = ["| film, 1920 x 1080 | frames/s | ms CPU | FFmpeg: frames/s | ms CPU | wall time to FFmpeg's | CPU | aim |",
             "|---|" + "---:|" * 7]
    for name, (extension, _, _) in FILMS.items():
        (wall, cpu), (their_wall, their_cpu) = best[name, "ours"], best[name, "FFmpeg"]
        lines.append(f"| {extension} {name} | {1 / wall:.3g} | {cpu * 1000:.3g} | {1 / their_wall:.3g} | "
                     f"{their_cpu * 1000:.3g} | {wall / their_wall:.2f} | {cpu / their_cpu:.2f} | "
                     f"1.1 {'met' if wall <= 1.1 * their_wall else 'missed'} |")
    return "\n".join(lines) + "\n"


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
    parser.add_argument("--frames", type=int, default=60)
    parser.add_argument("--save", type=Path, metavar="FILE")
    arguments = parser.parse_args()
    load = os.getloadavg()[0]
    version = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True, check=True).stdout.split()[2]
    best = measure(commands, arguments.program, arguments.frames)
    films = measure(film_commands, arguments.program)
    text = (f"{datetime.date.today()}, load {load:.1f} at the start, {os.cpu_count()} processors, FFmpeg {version}.\n\n"
            f"{table(best)}\n{goals(best)}\n{film_table(films)}")
    print(text)
    if arguments.save:
        page = arguments.save.read_text()
        inside = re.escape(MARKS[0]) + ".*?" + re.escape(MARKS[1])
        arguments.save.write_text(re.sub(inside, lambda _: MARKS[0] + text + MARKS[1], page, flags=re.S))


if __name__ == "__main__":
    main()
