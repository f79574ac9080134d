"""Whole programs side by side: orvandel render beside FFmpeg with sources of its own, into raw frames, PNG and H.264; and
into every kind of film, beside FFmpeg with the same frames from a file and the same settings.

Every command runs some rounds, in turns, so that a change of the machine's speed meets all alike; the fastest counts.
Frames a second and processor time a frame include the start of the program. Prints a table; --save FILE puts it between
the marks of that document as well.
"""

import argparse
import datetime
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from pathlib import Path

WIDTH, HEIGHT, RATE = 1920, 1080, 30
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
# Raw frames are the quickest: with four times as many, the programs' start weighs as little as elsewhere.
TIMES_AS_MANY = {"raw frames": 4}

X264 = "-c:v libx264 -preset medium -profile:v high -crf 16 -x264-params mbtree=0 -pix_fmt yuv420p"
# Each kind of film: extension, frames, FFmpeg's options for what Orvandel writes.
FILMS = {
    "h264": (".mp4", 60, X264 + " -movflags +faststart"),
    "prores4444": (".mov", 24, "-c:v prores_ks -profile:v 4444 -alpha_bits 8 -bits_per_mb 0 -pix_fmt yuva444p10le"),
    "qtrle": (".mov", 60, "-c:v qtrle -pix_fmt argb"),
    "vp9": (".webm", 16, "-c:v libvpx-vp9 -b:v 0 -cpu-used 4 -row-mt 1 -crf 20 -pix_fmt yuva420p"),
    "ffv1": (".mkv", 48, "-c:v ffv1 -level 3 -slicecrc 1 -pix_fmt bgra"),
    "apng": (".apng", 24, "-c:v apng -compression_level 3 -plays 0 -pix_fmt rgba"),
    "webp": (".webp", 12, "-c:v libwebp_anim -lossless 1 -loop 0 -pix_fmt bgra"),
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


def write_scene(folder, width, profile):
    scene = Path(folder) / f"{width}.json"
    values = RINGS["parameters"] | {"Start Width": width, "End Width": width, "Profile": profile}
    scene.write_text(json.dumps(RINGS | {"parameters": values}))
    return str(scene)


def commands(program, folder, frames):
    """(row, column) and the command with its frames."""
    made = {}
    for name, (width, profile) in WIDTHS.items():
        scene = write_scene(folder, width, profile)

        def add(row, output, fast=False, more=()):
            count = frames * TIMES_AS_MANY.get(output, 1)
            made[row, output] = [*ours(program, scene, output, folder, fast), "--frames", f"0-{count - 1}", *more], count
        for output in OUTPUTS:
            add(f"orvandel {name}", output)
        add(f"orvandel {name}, 1 job", "raw frames", more=["--jobs", "1"])
        add(f"orvandel {name}, --png-size fast", "PNG", fast=True)
    for name, (source, most) in SOURCES.items():
        for output in OUTPUTS:
            count = min(frames, most) * TIMES_AS_MANY.get(output, 1)
            made[name, output] = theirs(source, count, output, folder), count
    return made


PICTURES = {
    "FFmpeg, png": None,
    "orvandel, fast": ["--png-size", "fast"],
    "orvandel, fast, 2 jobs": ["--png-size", "fast", "--jobs", "2"],
    "orvandel, default": [],
    "orvandel, small": ["--png-size", "small"],
}


def reading(frames):
    return ["ffmpeg", "-v", "error", "-nostdin", "-y", "-f", "rawvideo", "-pix_fmt", "rgba", "-s", f"{WIDTH}x{HEIGHT}",
            "-r", str(RATE), "-i", frames]


def picture_commands(program, folder, count):
    """As commands: the scenes into PNG pictures, raw frames into a pipe, and how large a picture is."""
    made, sizes = {}, {}
    some = ["--frames", f"0-{count - 1}"]
    for name, (width, profile) in WIDTHS.items():
        scene = write_scene(folder, width, profile)
        start = [program, "render", scene, "--quiet", "--overwrite"]
        raw = f"{folder}/{width}.rgba"
        run(start + ["-o", "-"] + some, raw)
        pipe = ["sh", "-c", '"$@" | cat', "sh"]
        made[name, "orvandel, raw frames to a pipe"] = pipe + start + ["-o", "-", "--jobs", "1"] + some, count
        for number, (row, more) in enumerate(PICTURES.items()):
            place = Path(folder) / f"{width}_{number}"
            place.mkdir()
            if more is None:
                words = reading(raw) + ["-pix_fmt", "rgba", f"{place}/f.%04d.png"]
            else:
                words = start + more + ["-o", f"{place}/f.####.png"] + some
            made[name, row] = words, count
            run(words)
            sizes[name, row] = sum(file.stat().st_size for file in place.glob("*.png")) / count
    return made, sizes


def film_commands(program, folder):
    """As commands: for each kind of film ours, and FFmpeg's from a file of the same frames."""
    made = {}
    start = [program, "render", write_scene(folder, 5, "Square"), "--quiet", "--overwrite"]
    behind = {True: ["--background", "#000000"], False: []}  # H.264 has no alpha
    most = max(frames for _, frames, _ in FILMS.values())
    for opaque, more in behind.items():
        run(start + more + ["-o", "-", "--frames", f"0-{most - 1}"], f"{folder}/{opaque}.rgba")
    for name, (extension, frames, options) in FILMS.items():
        opaque = name == "h264"
        film = ["-o", f"{folder}/ours{extension}", "--codec", name, "--frames", f"0-{frames - 1}"]
        made[name, "ours"] = start + behind[opaque] + film, frames
        made[name, "FFmpeg"] = (reading(f"{folder}/{opaque}.rgba") + ["-frames:v", str(frames)] + options.split() +
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


# Every second round goes backward: a virtual machine may have to ask for the memory that the first of two large programs
# takes, and the second finds it there (a second of processor time where an encoder takes 650 MB).
def fastest(todo, rounds):
    best = {key: (float("inf"), float("inf")) for key in todo}
    for number in range(rounds):
        for key, (words, count) in list(todo.items())[::-1 if number % 2 else 1]:
            wall, cpu = run(words)
            best[key] = min(best[key][0], wall / count), min(best[key][1], cpu / count)
    return best


def picture_table(best, sizes):
    rows = ["orvandel, raw frames to a pipe", *PICTURES]
    lines = ["| pictures, 1920 x 1080 | " + " | ".join(f"{name}: frames/s | ms CPU | kB" for name in WIDTHS) + " |",
             "|---|" + "---:|---:|---:|" * len(WIDTHS)]
    for row in rows:
        cells = []
        for name in WIDTHS:
            wall, cpu = best[name, row]
            size = f"{sizes[name, row] / 1000:.0f}" if (name, row) in sizes else "-"
            cells += [f"{1 / wall:.3g}", f"{cpu * 1000:.3g}", size]
        lines.append(f"| {row} | " + " | ".join(cells) + " |")
    lines.append("")
    for name in WIDTHS:
        theirs, fast, pair = (best[name, row] for row in ["FFmpeg, png", "orvandel, fast", "orvandel, fast, 2 jobs"])
        size = sizes[name, "orvandel, fast"] / sizes[name, "FFmpeg, png"]
        raw = best[name, "orvandel, raw frames to a pipe"][0]
        lines.append(f"Fast, {name}: {theirs[1] / fast[1]:.1f} times less processor time than FFmpeg (aim 4) for files "
                     f"{size:.2f} times as large (aim at most 1.3); in the wall time of raw frames times "
                     f"{pair[0] / raw:.2f} with two jobs (aim at most 1.15), {fast[0] / raw:.2f} with one.\n")
    return "\n".join(lines)


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
        (empty, empty_by_one), (geq, geq_by_one) = (
            [ratio(theirs_row, f"orvandel {ours_row}{jobs}", kind) for jobs in ("", ", 1 job")]
            for theirs_row, ours_row in [("ffmpeg color (nothing drawn)", "rings, 5 wide"),
                                         ("ffmpeg geq, Gaussian rings", "rings, Gaussian, 40 wide")])
        lines.append(f"By {name}: the rings into raw frames at {empty:.2f} of the speed of an empty source (aim 0.9), "
                     f"with one job {empty_by_one:.2f}; the Gaussian ones {geq:.0f} times as fast as geq (aim 40), "
                     f"with one job {geq_by_one:.0f} times.\n")
    return "\n".join(lines)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("program", help="build/release/bin/orvandel")
    parser.add_argument("--frames", type=int, default=60)
    parser.add_argument("--rounds", type=int, default=4, help="even, so that each program goes first as often as second")
    parser.add_argument("--save", type=Path, metavar="FILE")
    arguments = parser.parse_args()
    load = os.getloadavg()[0]
    version = subprocess.run(["ffmpeg", "-version"], capture_output=True, text=True, check=True).stdout.split()[2]
    with tempfile.TemporaryDirectory() as folder:
        best = fastest(commands(arguments.program, folder, arguments.frames), arguments.rounds)
    with tempfile.TemporaryDirectory() as folder:
        todo, sizes = picture_commands(arguments.program, folder, arguments.frames)
        pictures = picture_table(fastest(todo, arguments.rounds), sizes)
    with tempfile.TemporaryDirectory() as folder:
        films = fastest(film_commands(arguments.program, folder), arguments.rounds)
    text = (f"{datetime.date.today()}, load {load:.1f} at the start, {os.cpu_count()} processors, FFmpeg {version}.\n\n"
            f"{table(best)}\n{goals(best)}\n{pictures}\n{film_table(films)}")
    print(text)
    if arguments.save:
        page = arguments.save.read_text()
        inside = re.escape(MARKS[0]) + ".*?" + re.escape(MARKS[1])
        arguments.save.write_text(re.sub(inside, lambda _: MARKS[0] + text + MARKS[1], page, flags=re.S))


if __name__ == "__main__":
    main()
